// SPDX-License-Identifier: Apache-2.0
#include "host/report/limit_summary.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "host/kernel/control_text.h"
#include "host/replay/event_numbers.h"
#include "host/report/limit_files.h"
#include "host/services/device_state.h"
#include "host/services/executor_requests.h"
#include "platform/service_registry.h"

namespace ZYRA::Host {

namespace {

// The groups, which ProcessGroups knows by their place here.
constexpr std::string_view LIMITED = "iocontrol";
constexpr std::string_view HEAVY = "heavyio";
constexpr std::string_view UNLIMITED = "ionormal";
constexpr std::array<std::string_view, 3> GROUPS = {LIMITED, HEAVY, UNLIMITED};
constexpr int LIMITED_GROUP = 0;

struct FateWords {
    const char* key;
    const char* name;
};

FateWords WordsOf(LimitFate fate) {
    switch (fate) {
        case LimitFate::LIMITED:
            return {"limited", "limited"};
        case LimitFate::HEAVY:
            return {"heavy", "heavy IO"};
        case LimitFate::RELEASED:
            return {"released", "released"};
        case LimitFate::REFUSED:
            return {"refused", "refused"};
        case LimitFate::LIMITED_ALREADY:
            return {"limitedAlready", "limited already"};
        case LimitFate::WHITE_LISTED:
            return {"whiteListed", "white-listed"};
        case LimitFate::FROZEN:
            return {"frozen", "frozen"};
        case LimitFate::FOREGROUND:
            return {"foreground", "foreground"};
        case LimitFate::SYSTEM:
            return {"system", "system"};
    }
    return {"", ""};
}

std::string TextOf(const nlohmann::json& payload, const char* name) {
    const std::string* text = TextMember(payload, name);
    return text == nullptr ? "" : *text;
}

// The process that a write to a member list moves.
std::optional<int32_t> PidOf(const std::string& content) {
    const auto text = CommandText(content);
    return text ? ParsePid(*text) : std::nullopt;
}

}  // namespace

const char* LimitFateKey(LimitFate fate) {
    return WordsOf(fate).key;
}

const char* LimitFateName(LimitFate fate) {
    return WordsOf(fate).name;
}

uint64_t LimitSummary::FateCount(LimitFate fate) const {
    const auto count = fates_.find(fate);
    return count == fates_.end() ? 0 : count->second;
}

void LimitSummary::OnEntry(const JournalEntry& entry) {
    for (SwitchTime* time : {&limitedSwitch_, &heavySwitch_, &anySwitch_}) {
        time->onUs += time->isOn ? entry.timeUs - nowUs_ : 0;
    }
    nowUs_ = entry.timeUs;
    std::visit([this](const auto& fact) { Note(fact); }, entry.fact);
}

void LimitSummary::Note(const EventStep& fact) {
    if (fact.resType == EVENT_ABILITY_START) {
        lastEvent_.isSlide = false;
        lastEvent_.bundleName = TextOf(fact.payload, "bundleName");
        lastEvent_.uid = TextOf(fact.payload, "uid");
    } else if (fact.resType == EVENT_SLIDE && fact.value == SLIDE_BEGINS) {
        lastEvent_ = LimitTrigger();
        lastEvent_.isSlide = true;
    }
}

// A process that has ended is in no group any more.
void LimitSummary::Note(const DeviceStep& fact) {
    const auto processes = fact.patch.is_object() ? fact.patch.find("processes") : fact.patch.end();
    if (processes == fact.patch.end()) {
        return;
    }
    if (decision_.isMade) {
        Begin();  // What is told of the processes is what was so before.
    }
    if (processes->is_null()) {
        groups_ = ProcessGroups();
        return;
    }
    for (const auto& [pid, process] : processes->items()) {
        if (const auto number = ParsePid(pid); number && process.is_null()) {
            groups_.Remove(*number);
        }
    }
}

void LimitSummary::Note(const LogEntry& fact) {
    const auto line = ReadLimitLine(fact);
    if (!line) {
        return;
    }
    switch (line->kind) {
        case LimitLine::Kind::CHOOSING:
            Begin();
            LookAtProcesses();
            break;
        case LimitLine::Kind::FOREGROUND:
            decision_.foregroundUids.insert(line->uid);
            break;
        case LimitLine::Kind::CHOSEN:
            decision_.chosen.insert(line->pid);
            break;
        case LimitLine::Kind::FROZEN:
            NoteMembers();
            decision_.frozen.insert(line->pid);
            break;
    }
}

void LimitSummary::Begin() {
    if (!decision_.isMade) {
        decision_ = Decision();
        return;
    }
    LimitTrigger& trigger = decision_.trigger;
    ++(trigger.isSlide ? slides_ : starts_);
    for (LimitedProcess& process : trigger.processes) {
        process.fate = FateOf(process);
        ++fates_[process.fate];
        const auto group = groups_.GroupOf(process.pid);
        process.group = group ? GROUPS.at(static_cast<size_t>(*group)) : "";
    }
    if (triggers_.size() < MOST_TRIGGERS) {
        triggers_.push_back(std::move(trigger));
    }
    decision_ = Decision();
}

void LimitSummary::LookAtProcesses() {
    const auto device = DeviceServices::GetInstance().Snapshot();
    if (!device->HasService(APP_MGR_SERVICE_ID)) {
        return;  // The plugin sees nobody.
    }
    for (const auto& [pid, process] : device->processes) {
        decision_.trigger.processes.push_back(
            {pid, process.uid, process.bundles.empty() ? "" : process.bundles.front(), LimitFate::SYSTEM, ""});
    }
}

void LimitSummary::Note(const RequestEntry& fact) {
    const std::string path = TextOf(fact.payload, "filePath");
    if (fact.resType == QUERY_RESOURCE && fact.value == READ_FILE && LimitGroupOf(path, LIMIT_GROUP_PROCS) == LIMITED) {
        if (decision_.isMade) {
            Begin();  // Without the app manager nothing comes before this.
        }
        decision_.hasRead = true;
    }
    if (fact.resType != EXTENSION_RESOURCE || fact.value != WRITE_FILE || decision_.isMade) {
        return;
    }
    const std::string content = TextOf(fact.payload, "content");
    NoteMembers();
    if (const auto pid = PidOf(content); pid) {
        NoteAsked(LimitGroupOf(path, LIMIT_GROUP_PROCS), *pid);
    }
    if (LimitGroupOf(path, LIMIT_GROUP_SWITCH) == LIMITED && content == "1") {
        decision_.trigger.timeUs = nowUs_;
        decision_.trigger.isSlide = lastEvent_.isSlide;
        decision_.trigger.bundleName = lastEvent_.bundleName;
        decision_.trigger.uid = lastEvent_.uid;
        decision_.isMade = true;
    }
}

void LimitSummary::Note(const RefusedEntry& fact) {
    if (fact.resType == QUERY_RESOURCE && fact.value == READ_FILE && decision_.hasRead && !decision_.limitedBefore) {
        decision_.isReadRefused = true;
    }
}

// What was sent before the members were read had been carried out by then, so that it is not until the plugin goes on
// that they are those that it has read.
void LimitSummary::NoteMembers() {
    if (decision_.hasRead && !decision_.limitedBefore) {
        const auto members = groups_.Members(LIMITED_GROUP);
        decision_.limitedBefore.emplace();
        if (!decision_.isReadRefused) {
            decision_.limitedBefore->insert(members.begin(), members.end());
        }
    }
}

void LimitSummary::NoteAsked(std::string_view group, int32_t pid) {
    if (group == LIMITED) {
        decision_.asked[pid] = LimitFate::LIMITED;
    } else if (group == HEAVY) {
        decision_.asked[pid] = LimitFate::HEAVY;
    } else if (group == UNLIMITED) {
        // What is moved before the members are read belongs to the application that starts.
        decision_.asked[pid] = decision_.hasRead ? LimitFate::RELEASED : LimitFate::FOREGROUND;
    }
}

LimitFate LimitSummary::FateOf(const LimitedProcess& process) const {
    if (const auto asked = decision_.asked.find(process.pid); asked != decision_.asked.end()) {
        return decision_.moved.contains(process.pid) ? asked->second : LimitFate::REFUSED;
    }
    if (!decision_.chosen.contains(process.pid)) {
        return decision_.foregroundUids.contains(process.uid) ? LimitFate::FOREGROUND : LimitFate::SYSTEM;
    }
    if (decision_.frozen.contains(process.pid)) {
        return LimitFate::FROZEN;
    }
    return decision_.limitedBefore && decision_.limitedBefore->contains(process.pid) ? LimitFate::LIMITED_ALREADY
                                                                                     : LimitFate::WHITE_LISTED;
}

void LimitSummary::Note(const FileWriteEntry& fact) {
    const auto command = CommandText(fact.content);
    if (!fact.IsAccepted() || !command) {
        return;
    }
    const auto* const group = std::find(GROUPS.begin(), GROUPS.end(), LimitGroupOf(fact.path, LIMIT_GROUP_PROCS));
    if (const auto pid = ParsePid(*command); group != GROUPS.end() && pid) {
        groups_.Move(*pid, static_cast<int>(std::distance(GROUPS.begin(), group)));
        decision_.moved.insert(*pid);
    }
    if (const auto limit = SwitchedBy(fact); limit && (limit->group == LIMITED || limit->group == HEAVY)) {
        NoteSwitch(limit->group == LIMITED ? limitedSwitch_ : heavySwitch_, limit->isOn);
    }
}

void LimitSummary::NoteSwitch(SwitchTime& time, bool isOn) {
    const auto set = [](SwitchTime& one, bool on) {
        one.times += on && !one.isOn ? 1 : 0;
        one.isOn = on;
    };
    set(time, isOn);
    set(anySwitch_, limitedSwitch_.isOn || heavySwitch_.isOn);
    LimitTrigger& current = decision_.trigger;
    current.isSwitchedOn = current.isSwitchedOn || (decision_.isMade && isOn);
    if (anySwitch_.isOn) {
        return;
    }
    const auto lift = [this](LimitTrigger& trigger) {
        if (trigger.isSwitchedOn && !trigger.liftedUs) {
            trigger.liftedUs = nowUs_;
        }
    };
    lift(current);
    for (auto trigger = triggers_.rbegin(); trigger != triggers_.rend() && !trigger->liftedUs; ++trigger) {
        lift(*trigger);
    }
}

}  // namespace ZYRA::Host
