// SPDX-License-Identifier: Apache-2.0
// Any device model's configuration of the plugin: what the plugin makes of it stays in the documented ranges, switches
// nothing off, and stays the same when it is loaded once more, or with words of no meaning and values that are none.

#include <cstdio>
#include <map>

#include "exact_preread/exact_preread.h"
#include "fuzz/in_sandbox.h"
#include "host/replay/device_model.h"
#include "host/runtime/journal.h"
#include "io_limit/io_limit_config_info.h"

using namespace ZYRA::Host;
using namespace ZYRA::ResourceSchedule;

namespace {

using Config = std::map<std::string, PluginConfig>;

Config WithNonsense(Config config) {
    for (auto& [name, plugin] : config) {
        if (plugin.itemList.empty()) {
            continue;  // Nothing is not the same as nonsense.
        }
        for (Item& item : plugin.itemList) {
            for (const char* value : {"init_train_times", "init_stage", "normal_stage", "topN", "app_intra_switch"}) {
                item.subItemList.push_back({value, "-1", {}});
                item.subItemList.push_front({value, "123456789", {}});
            }
        }
        plugin.itemList.push_front(
            {{{"type", "nonsense"}, {"romsize", "-1"}}, {{"switch", "1", {}}, {"topN", "1", {}}}});
        plugin.itemList.push_back({{{"typo", "switch"}}, {{"switch", "0", {}}}});
    }
    return config;
}

// The last that each function says of what it has made of the configuration.
class Loading final : public JournalSink {
public:
    Loading(const Config& config, int64_t sizeGB) {
        DeviceState state;
        state.config = config;
        DeviceServices::GetInstance().Set(std::move(state));
        Journal::GetInstance().AddSink(this);
        ExactPreread::GetInstance().Init(sizeGB * 256, sizeGB);
        IoLimitConfigInfo::GetInstance().Init();
        Journal::GetInstance().RemoveSink(this);
        last["limits"] = IoLimitConfigInfo::GetInstance().IsIoLimitEnabled() ? "on" : "off";
    }

    std::map<std::string, std::string> last;

private:
    void OnEntry(const JournalEntry& entry) override {
        const auto* log = std::get_if<LogEntry>(&entry.fact);
        if (log != nullptr && log->level == ZYRA::LogLevel::INFO) {
            last[log->text.substr(0, log->text.find(':'))] = log->text;
        }
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    InputError error;
    const auto model = LoadDeviceModel(FileWith({reinterpret_cast<const char*>(data), size}), error);
    if (!model) {
        return 0;
    }
    const bool wasEnabled = ExactPreread::GetInstance().IsEnabled();
    const auto loaded = Loading(model->state.config, model->romGB).last;
    int times = 0;
    int initStage = 0;
    int normalStage = 0;
    int topN = 1;
    auto last = loaded;
    const std::string interval = last["[ApplyTrainIntervalItem"];
    const std::string topNLine = last["[ApplyTopNConfig"];
    Require(interval.empty() || std::sscanf(interval.c_str(), "%*[^]]]initTrainTimes: %d, %*[^:]: %d, %*[^:]:%d",
                                            &times, &initStage, &normalStage) == 3,
            "three values are told");
    Require(topNLine.empty() || std::sscanf(topNLine.c_str(), "%*[^=]= %d", &topN) == 1, "one value is told");
    Require(times >= 0 && times <= 100 && topN > 0 && initStage <= 720 * 60 && normalStage <= 1440 * 60, "the ranges");
    Require(ExactPreread::GetInstance().IsEnabled() || !wasEnabled, "nothing is switched off");
    Require(loaded == Loading(model->state.config, model->romGB).last, "the same once more");
    Require(loaded == Loading(WithNonsense(model->state.config), model->romGB).last, "the same with nonsense");
    return 0;
}
