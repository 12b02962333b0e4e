// SPDX-License-Identifier: Apache-2.0
#include "host/report/limit_lines.h"

#include "host/replay/plugin_line.h"

namespace ZYRA::Host {

namespace {

// The line that a uid and a pid make, each behind its own word and both before `end`.
std::optional<LimitLine> ReadProcess(LineReader line, LimitLine::Kind kind, std::string_view beforeUid,
                                     std::string_view beforePid, std::string_view end) {
    if (!line.Take(beforeUid)) {
        return std::nullopt;
    }
    const auto uid = line.TakeNumber<int32_t>();
    if (!uid || !line.Take(beforePid)) {
        return std::nullopt;
    }
    const auto pid = line.TakeNumber<int32_t>();
    return pid && line.Rest().ends_with(end) ? std::optional<LimitLine>({kind, *uid, *pid}) : std::nullopt;
}

}  // namespace

std::optional<LimitLine> ReadLimitLine(const LogEntry& entry) {
    const auto line = ReadPluginLine(entry);
    if (!line) {
        return std::nullopt;
    }
    if (line->Rest() == "GetBackgroundAppInfo") {
        return LimitLine{LimitLine::Kind::CHOOSING};
    }
    if (const auto chosen = ReadProcess(*line, LimitLine::Kind::CHOSEN, "uid ", " pid", " must limit"); chosen) {
        return chosen;
    }
    if (const auto frozen = ReadProcess(*line, LimitLine::Kind::FROZEN, "UID ", " PID ", " has been frozen"); frozen) {
        return frozen;
    }
    return ReadProcess(*line, LimitLine::Kind::FOREGROUND, "UID ", " PID ", " has been written");
}

}  // namespace ZYRA::Host
