#include "host/report/limit_summary.h"

#include "host/kernel/control_text.h"
#include "host/services/device_state.h"
#include "platform/service_registry.h"

namespace ZYRA::Host {

namespace {

constexpr uint32_t SLIDE = 11;
constexpr int64_t SLIDE_STARTS = 1;
constexpr uint32_t ABILITY_START = 27;

constexpr uint32_t EXTENSION_RESOURCE = 8;
constexpr int64_t WRITE_FILE = 2;
constexpr uint32_t QUERY_RESOURCE = 0;
constexpr int64_t READ_FILE = 3;

constexpr std::string_view ROOT = "/dev/iolimit/";
constexpr std::string_view PROCS = "/cgroup.procs";
constexpr std::string_view SWITCH = "/iolimit.offon";
constexpr std::string_view LIMITED = "iocontrol";
constexpr std::string_view HEAVY = "heavyio";
constexpr std::string_view UNLIMITED = "ionormal";

// Numbers of the groups.
constexpr int LIMITED_GROUP = 0;
constexpr int OTHER_GROUP = 1;

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

// The member of a payload that is a text, "" when there is none.
std::string TextOf(const nlohmann::json& payload, const char* name) {
    const auto member = payload.is_object() ? payload.find(name) : payload.end();
    return member != payload.end() && member->is_string() ? member->get<std::string>() : "";
}

// The group whose file a path names, "" when it names no such file.
std::string_view GroupOf(std::string_view path, std::string_view file) {
    if (!path.starts_with(ROOT) || !path.ends_with(file)) {
        return "";
    }
    path.remove_prefix(ROOT.size());
    return path.substr(0, path.size() - file.size());
}

}  // namespace

const char* LimitFateKey(LimitFate fate) {
    return WordsOf(fate).key;
}

const char* LimitFateName(LimitFate fate) {
    return WordsOf(fate).name;
}

void LimitSummary::OnEntry(const JournalEntry& entry) {
    for (SwitchTime* time : {&limitedSwitch_, &heavySwitch_}) {
        time->onUs += time->isOn ? entry.timeUs - nowUs_ : 0;
    }
    nowUs_ = entry.timeUs;
    std::visit([this](const auto& fact) { Note(fact); }, entry.fact);
}

void LimitSummary::Note(const EventStep& fact) {
    if (fact.resType == ABILITY_START) {
        next_.isSlide = false;
        next_.bundleName = TextOf(fact.payload, "bundleName");
        next_.uid = TextOf(fact.payload, "uid");
    } else if (fact.resType == SLIDE && fact.value == SLIDE_STARTS) {
        next_.isSlide = true;
        next_.bundleName.clear();
        next_.uid.clear();
    }
}

// A process that has ended is in no group any more.
void LimitSummary::Note(const DeviceStep& fact) {
    const auto processes = fact.patch.is_object() ? fact.patch.find("processes") : fact.patch.end();
    if (processes == fact.patch.end()) {
        return;
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
    if (const auto line = ReadLimitLine(fact); line) {
        std::visit([this](const auto& what) { NoteLine(what); }, *line);
    }
}

void LimitSummary::NoteLine(const ChoosingLine& /*line*/) {
    foregroundUids_.clear();
    chosen_.clear();
    frozen_.clear();
    limitedBefore_.reset();
    moved_.clear();
    next_.processes.clear();
    const auto device = DeviceServices::GetInstance().Snapshot();
    if (!device->HasService(APP_MGR_SERVICE_ID)) {
        return;  // The plugin sees nobody.
    }
    for (const auto& [pid, process] : device->processes) {
        next_.processes.push_back(
            {pid, process.uid, process.bundles.empty() ? "" : process.bundles.front(), LimitFate::SYSTEM});
    }
}

void LimitSummary::Note(const RequestEntry& fact) {
    const std::string path = TextOf(fact.payload, "filePath");
    if (fact.resType == QUERY_RESOURCE && fact.value == READ_FILE && GroupOf(path, PROCS) == LIMITED) {
        const auto members = groups_.Members(LIMITED_GROUP);
        limitedBefore_.emplace(members.begin(), members.end());
    }
    if (fact.resType != EXTENSION_RESOURCE || fact.value != WRITE_FILE) {
        return;
    }
    const std::string content = TextOf(fact.payload, "content");
    if (const auto pid = ParsePid(content); pid) {
        NoteMove(GroupOf(path, PROCS), *pid);
    }
    if (GroupOf(path, SWITCH) == LIMITED && content == "1") {
        Conclude();
    }
}

void LimitSummary::NoteMove(std::string_view group, int32_t pid) {
    if (group == LIMITED) {
        moved_[pid] = LimitFate::LIMITED;
    } else if (group == HEAVY) {
        moved_[pid] = LimitFate::HEAVY;
    } else if (group == UNLIMITED) {
        // What is moved before the members are read belongs to the application that starts.
        moved_[pid] = limitedBefore_ ? LimitFate::RELEASED : LimitFate::FOREGROUND;
    }
}

LimitFate LimitSummary::FateOf(int32_t pid, int32_t uid) const {
    if (const auto moved = moved_.find(pid); moved != moved_.end()) {
        return moved->second;
    }
    if (!chosen_.contains(pid)) {
        return foregroundUids_.contains(uid) ? LimitFate::FOREGROUND : LimitFate::SYSTEM;
    }
    if (frozen_.contains(pid)) {
        return LimitFate::FROZEN;
    }
    return limitedBefore_ && limitedBefore_->contains(pid) ? LimitFate::LIMITED_ALREADY : LimitFate::WHITE_LISTED;
}

void LimitSummary::Conclude() {
    ++(next_.isSlide ? slides_ : starts_);
    for (LimitedProcess& process : next_.processes) {
        process.fate = FateOf(process.pid, process.uid);
        ++fates_.at(static_cast<size_t>(process.fate));
    }
    next_.timeUs = nowUs_;
    if (triggers_.size() < MOST_TRIGGERS) {
        triggers_.push_back(next_);
    }
    // Without the app manager the next decision begins with its switch.
    next_.processes.clear();
}

void LimitSummary::Note(const FileWriteEntry& fact) {
    if (fact.error != 0) {
        return;
    }
    if (const auto group = GroupOf(fact.path, PROCS); !group.empty()) {
        if (const auto pid = ParsePid(fact.content); pid) {
            groups_.Move(*pid, group == LIMITED ? LIMITED_GROUP : OTHER_GROUP);
        }
    }
    const auto group = GroupOf(fact.path, SWITCH);
    const bool isOn = fact.content == "1";
    if (group == HEAVY) {
        Switch(heavySwitch_, isOn);
    } else if (group == LIMITED) {
        Switch(limitedSwitch_, isOn);
        for (auto trigger = triggers_.rbegin(); !isOn && trigger != triggers_.rend() && !trigger->liftedUs; ++trigger) {
            trigger->liftedUs = nowUs_;
        }
    }
}

void LimitSummary::Switch(SwitchTime& time, bool isOn) {
    time.times += isOn && !time.isOn ? 1 : 0;
    time.isOn = isOn;
}

}  // namespace ZYRA::Host
