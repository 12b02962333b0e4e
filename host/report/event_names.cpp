// SPDX-License-Identifier: Apache-2.0
#include "host/report/event_names.h"

#include <array>

#include "host/replay/event_numbers.h"

namespace ZYRA::Host {

namespace {

struct NamedEvent {
    uint32_t resType;
    int64_t value;
    const char* name;
};

constexpr std::array NAMED_EVENTS = {
    NamedEvent{EVENT_SCREEN, SCREEN_IS_OFF, "screen off"},
    NamedEvent{EVENT_SCREEN, SCREEN_IS_ON, "screen on"},
    NamedEvent{3, 2, "white-listed until its next start"},
    NamedEvent{3, 8, "white-listed until its next start"},
    NamedEvent{EVENT_PROCESS_START, PROCESS_HAS_STARTED, "process started"},
    NamedEvent{7, 0, "continuous task begins"},
    NamedEvent{7, 1, "continuous task ends"},
    NamedEvent{EVENT_USER_INPUT, USER_HAS_ACTED, "touch"},
    NamedEvent{EVENT_PAGE, PAGE_BEGINS, "page begins"},
    NamedEvent{EVENT_PAGE, PAGE_IS_SHOWN, "page shown"},
    NamedEvent{EVENT_SLIDE, SLIDE_ENDS, "slide ends"},
    NamedEvent{EVENT_SLIDE, SLIDE_BEGINS, "slide begins"},
    NamedEvent{12, 0, "off the white list"},
    NamedEvent{12, 1, "white-listed"},
    NamedEvent{EVENT_BUNDLE, BUNDLE_IS_REMOVED, "bundle removed"},
    NamedEvent{EVENT_BUNDLE, BUNDLE_HAS_CHANGED, "bundle came or changed"},
    NamedEvent{EVENT_ABILITY_START, WARM_START, "warm start"},
    NamedEvent{EVENT_ABILITY_START, COLD_START, "cold start"},
    NamedEvent{48, 0, "cache configuration"},
    NamedEvent{70, 0, "white-listed"},
    NamedEvent{70, 1, "off the white list"},
    NamedEvent{83, 0, "white-listed"},
    NamedEvent{83, 1, "off the white list"},
    NamedEvent{150, 0, "preload"},
};

}  // namespace

std::string EventName(uint32_t resType, int64_t value) {
    for (const NamedEvent& named : NAMED_EVENTS) {
        if (named.resType == resType && named.value == value) {
            return named.name;
        }
    }
    return "event " + std::to_string(resType) + '/' + std::to_string(value);
}

}  // namespace ZYRA::Host
