// SPDX-License-Identifier: Apache-2.0
#include "host/launch/launch_result.h"

#include <string.h>
#include <sys/wait.h>

#include <algorithm>
#include <iterator>

namespace ZYRA::Host {

namespace {

constexpr double LEAST_GAIN_SHARE = 0.05;

template <typename Number>
Spread<Number> SpreadOf(std::vector<Number> numbers) {
    std::sort(numbers.begin(), numbers.end());
    const Number& lower = numbers[(numbers.size() - 1) / 2];
    const Number& upper = numbers[numbers.size() / 2];
    return {lower + (upper - lower) / 2, numbers.front(), numbers.back()};
}

std::optional<double> Share(const std::optional<uint64_t>& part, uint64_t whole) {
    return part && whole > 0 ? std::optional(static_cast<double>(*part) / static_cast<double>(whole)) : std::nullopt;
}

}  // namespace

const char* StartLabel(StartKind kind) {
    switch (kind) {
        case StartKind::COLD:
            return "cold";
        case StartKind::RECORDING:
            return "recording";
        case StartKind::PREREAD:
            return "cold with preread";
        case StartKind::WARM:
            return "warm";
        case StartKind::BUSY_COLD:
            return "cold, disk busy";
        case StartKind::BUSY_PREREAD:
            return "preread, disk busy";
        case StartKind::BUSY_PREREAD_LIMITED:
            return "preread, disk busy, limited";
    }
    return "";
}

const char* StartKey(StartKind kind) {
    switch (kind) {
        case StartKind::COLD:
            return "cold";
        case StartKind::RECORDING:
            return "recording";
        case StartKind::PREREAD:
            return "preread";
        case StartKind::WARM:
            return "warm";
        case StartKind::BUSY_COLD:
            return "busyCold";
        case StartKind::BUSY_PREREAD:
            return "busyPreread";
        case StartKind::BUSY_PREREAD_LIMITED:
            return "busyPrereadLimited";
    }
    return "";
}

std::string StatusText(int status) {
    if (WIFEXITED(status)) {
        return "exit status " + std::to_string(WEXITSTATUS(status));
    }
    const char* name = sigabbrev_np(WTERMSIG(status));
    return name != nullptr ? std::string("killed by SIG") + name
                           : "killed by signal " + std::to_string(WTERMSIG(status));
}

Spread<int64_t> SpreadOfWaits(const std::vector<StartSample>& samples) {
    std::vector<int64_t> waits;
    std::transform(samples.begin(), samples.end(), std::back_inserter(waits),
                   [](const StartSample& sample) { return sample.waitUs; });
    return SpreadOf(std::move(waits));
}

std::optional<Spread<uint64_t>> SpreadOfBytes(const std::vector<StartSample>& samples) {
    std::vector<uint64_t> bytes;
    for (const StartSample& sample : samples) {
        if (!sample.bytesRead) {
            return std::nullopt;
        }
        bytes.push_back(*sample.bytesRead);
    }
    return SpreadOf(std::move(bytes));
}

Gain GainOf(int64_t slowUs, int64_t improvedUs, int64_t floorUs) {
    const auto avoidable = static_cast<double>(slowUs - floorUs);
    if (avoidable <= 0 || avoidable < LEAST_GAIN_SHARE * static_cast<double>(slowUs)) {
        return {std::nullopt};
    }
    return {static_cast<double>(slowUs - improvedUs) / avoidable};
}

std::optional<double> LaunchRecord::UntouchedShare() const {
    return comparedPages ? Share(untouchedPages, *comparedPages) : std::nullopt;
}

std::optional<double> LaunchRecord::MissedShare() const {
    return comparedPages && untouchedPages && missedPages
               ? Share(missedPages, *comparedPages - *untouchedPages + *missedPages)
               : std::nullopt;
}

std::optional<int> LaunchResult::CommonStatus() const {
    std::optional<int> common;
    for (const auto& [kind, samples] : starts) {
        for (const StartSample& sample : samples) {
            if (common.value_or(sample.status) != sample.status) {
                return std::nullopt;
            }
            common = sample.status;
        }
    }
    return common;
}

std::optional<Gain> LaunchResult::GainBetween(StartKind slow, StartKind improved, StartKind floor) const {
    std::vector<int64_t> medians;
    for (const StartKind kind : {slow, improved, floor}) {
        const auto samples = starts.find(kind);
        if (samples == starts.end() || samples->second.empty()) {
            return std::nullopt;
        }
        medians.push_back(SpreadOfWaits(samples->second).median);
    }
    return GainOf(medians[0], medians[1], medians[2]);
}

std::optional<Gain> LaunchResult::PrereadGain() const {
    return GainBetween(StartKind::COLD, StartKind::PREREAD, StartKind::WARM);
}

std::optional<Gain> LaunchResult::BusyGain() const {
    return GainBetween(StartKind::BUSY_COLD, StartKind::BUSY_PREREAD_LIMITED, StartKind::COLD);
}

}  // namespace ZYRA::Host
