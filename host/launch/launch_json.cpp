// SPDX-License-Identifier: Apache-2.0
#include "host/launch/launch_json.h"

#include <sys/wait.h>

#include "host/report/json_text.h"

namespace ZYRA::Host {

namespace {

using OrderedJson = nlohmann::ordered_json;

constexpr int SCHEMA = 1;

template <typename Number>
OrderedJson SpreadJson(const Spread<Number>& spread) {
    return {{"median", spread.median}, {"min", spread.min}, {"max", spread.max}};
}

// One of the two is null.
OrderedJson StatusJson(int status) {
    return {{"exit", WIFEXITED(status) ? OrderedJson(WEXITSTATUS(status)) : OrderedJson(nullptr)},
            {"signal", WIFEXITED(status) ? OrderedJson(nullptr) : OrderedJson(WTERMSIG(status))}};
}

OrderedJson OptionsJson(const LaunchOptions& options) {
    return {{"runs", options.runs},
            {"headStartUs", options.headStartUs},
            {"recordMode", options.recordMode},
            {"readers", options.readers}};
}

OrderedJson StartsJson(const LaunchResult& result) {
    OrderedJson starts = OrderedJson::object();
    for (const auto& [kind, samples] : result.starts) {
        if (samples.empty()) {
            continue;
        }
        const auto bytes = SpreadOfBytes(samples);
        OrderedJson each = OrderedJson::array();
        for (const StartSample& sample : samples) {
            each.push_back({{"waitUs", sample.waitUs},
                            {"bytesRead", OrNull(sample.bytesRead)},
                            {"status", StatusJson(sample.status)}});
        }
        starts[StartKey(kind)] = {{"waitUs", SpreadJson(SpreadOfWaits(samples))},
                                  {"bytesRead", bytes ? SpreadJson(*bytes) : OrderedJson(nullptr)},
                                  {"samples", each}};
    }
    return starts;
}

OrderedJson GainJson(const std::optional<Gain>& gain) {
    return gain ? OrderedJson{{"nothingToGain", !gain->share.has_value()}, {"share", OrNull(gain->share)}}
                : OrderedJson(nullptr);
}

OrderedJson RecordJson(const LaunchRecord& record) {
    return {{"files", record.files},
            {"pages", record.pages},
            {"bytes", record.bytes},
            {"fileBytes", record.fileBytes},
            {"comparedPages", OrNull(record.comparedPages)},
            {"untouchedPages", OrNull(record.untouchedPages)},
            {"untouchedShare", OrNull(record.UntouchedShare())},
            {"missedPages", OrNull(record.missedPages)},
            {"missedShare", OrNull(record.MissedShare())}};
}

OrderedJson PrereadJson(const PrereadCounts& counts) {
    return {{"succ", counts.succ}, {"fail", counts.fail}};
}

}  // namespace

std::string LaunchJson(const LaunchResult& result) {
    const auto status = result.CommonStatus();
    const OrderedJson json = {{"schema", SCHEMA},
                              {"command", result.command},
                              {"options", OptionsJson(result.options)},
                              {"starts", StartsJson(result)},
                              {"prereadGain", GainJson(result.PrereadGain())},
                              {"busyGain", GainJson(result.BusyGain())},
                              {"record", result.record ? RecordJson(*result.record) : OrderedJson(nullptr)},
                              {"preread", result.preread ? PrereadJson(*result.preread) : OrderedJson(nullptr)},
                              {"status", status ? StatusJson(*status) : OrderedJson(nullptr)},
                              {"isOutputSame", OrNull(result.isOutputSame)},
                              {"notes", result.notes}};
    return JsonDocument(json);
}

}  // namespace ZYRA::Host
