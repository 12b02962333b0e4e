#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/kernel/process_groups.h"
#include "host/replay/limit_lines.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

// What a start or a slide did to a process:
//   LIMITED          put into the limited group
//   HEAVY            put into the group of heavy IO
//   RELEASED         taken out of the limited group, because its uid is on the white list
//   LIMITED_ALREADY  left where it was, in the limited group
//   WHITE_LISTED     left alone: its uid is on the white list
//   FROZEN           left alone: it gets no time on a processor
//   FOREGROUND       of the application that starts
//   SYSTEM           left alone: of a system application
enum class LimitFate : uint8_t {
    LIMITED,
    HEAVY,
    RELEASED,
    LIMITED_ALREADY,
    WHITE_LISTED,
    FROZEN,
    FOREGROUND,
    SYSTEM,
};

constexpr size_t LIMIT_FATE_COUNT = 8;
// For programs, and for people.
const char* LimitFateKey(LimitFate fate);
const char* LimitFateName(LimitFate fate);

struct LimitedProcess {
    int32_t pid;
    int32_t uid;
    std::string bundleName;  // The first of the process, "" when it has none.
    LimitFate fate;
};

// A start of an application, or of a slide, that has switched the limits on.
struct LimitTrigger {
    int64_t timeUs = 0;
    bool isSlide = false;
    std::string bundleName;  // Of the application that starts.
    std::string uid;         // As the event gave it.
    // When the limited group's switch went off for the first time after that.
    std::optional<int64_t> liftedUs;
    std::vector<LimitedProcess> processes;  // In ascending order of pid.
};

// For how long a switch was on, and how often it was switched on.
struct SwitchTime {
    bool isOn = false;
    int64_t onUs = 0;
    uint64_t times = 0;
};

// Whom the plugin limited and why not the others: made of the journal's entries, and of what the device says of its
// processes at that moment. Needs log lines down to DEBUG. Events that arrive faster than they are handled may be taken
// for one another. To be read when it is no sink of the journal any more.
class LimitSummary final : public JournalSink {
public:
    static constexpr size_t MOST_TRIGGERS = 100;

    void OnEntry(const JournalEntry& entry) override;

    uint64_t Starts() const { return starts_; }
    uint64_t Slides() const { return slides_; }
    // How often each fate was that of a process, over all triggers.
    uint64_t FateCount(LimitFate fate) const { return fates_.at(static_cast<size_t>(fate)); }
    // The first triggers; Starts() and Slides() count the others too.
    const std::vector<LimitTrigger>& Triggers() const { return triggers_; }

    const SwitchTime& LimitedSwitch() const { return limitedSwitch_; }
    const SwitchTime& HeavySwitch() const { return heavySwitch_; }

private:
    void Note(const EventStep& fact);
    void Note(const DeviceStep& fact);
    void Note(const LogEntry& fact);
    void Note(const RequestEntry& fact);
    void Note(const FileWriteEntry& fact);
    template <typename Fact>
    void Note(const Fact& /*fact*/) {}

    void NoteLine(const ChoosingLine& line);
    void NoteLine(const ForegroundLine& line) { foregroundUids_.insert(line.uid); }
    void NoteLine(const ChosenLine& line) { chosen_.insert(line.pid); }
    void NoteLine(const FrozenLine& line) { frozen_.insert(line.pid); }

    void NoteMove(std::string_view group, int32_t pid);
    void Conclude();
    LimitFate FateOf(int32_t pid, int32_t uid) const;
    void Switch(SwitchTime& time, bool isOn);

    int64_t nowUs_ = 0;
    SwitchTime limitedSwitch_;
    SwitchTime heavySwitch_;
    uint64_t starts_ = 0;
    uint64_t slides_ = 0;
    std::array<uint64_t, LIMIT_FATE_COUNT> fates_{};
    std::vector<LimitTrigger> triggers_;
    ProcessGroups groups_;  // As the kernel has them.

    // What is known of the decision that is being made; `next_` is what it will be told as.
    LimitTrigger next_;
    std::set<int32_t> foregroundUids_;
    std::set<int32_t> chosen_;
    std::set<int32_t> frozen_;
    std::optional<std::set<int32_t>> limitedBefore_;  // Once the members of the limited group have been read.
    std::map<int32_t, LimitFate> moved_;
};

}  // namespace ZYRA::Host
