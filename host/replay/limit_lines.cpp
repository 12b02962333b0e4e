#include "host/replay/limit_lines.h"

#include "host/replay/plugin_line.h"

namespace ZYRA::Host {

namespace {

// A uid and a pid, each behind its own word.
template <typename Line>
std::optional<Line> TakeProcess(LineReader& line, std::string_view beforeUid, std::string_view beforePid) {
    if (!line.Take(beforeUid)) {
        return std::nullopt;
    }
    const auto uid = line.TakeNumber<int32_t>();
    if (!uid || !line.Take(beforePid)) {
        return std::nullopt;
    }
    const auto pid = line.TakeNumber<int32_t>();
    return pid ? std::optional<Line>({*uid, *pid}) : std::nullopt;
}

}  // namespace

std::optional<LimitLine> ReadLimitLine(const LogEntry& entry) {
    auto line = ReadPluginLine(entry);
    if (!line) {
        return std::nullopt;
    }
    if (line->Rest() == "GetBackgroundAppInfo") {
        return ChoosingLine{};
    }
    if (const auto chosen = TakeProcess<ChosenLine>(*line, "uid ", " pid");
        chosen && line->Rest().ends_with(" must limit")) {
        return *chosen;
    }
    if (const auto process = TakeProcess<ForegroundLine>(*line, "UID ", " PID "); process) {
        if (line->Rest() == " has been written") {
            return *process;
        }
        if (line->Rest() == " has been frozen") {
            return FrozenLine{process->uid, process->pid};
        }
    }
    return std::nullopt;
}

}  // namespace ZYRA::Host
