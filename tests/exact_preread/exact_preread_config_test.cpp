// SPDX-License-Identifier: Apache-2.0
// The configuration shows in what is logged about it.

#include <gtest/gtest.h>

#include <list>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "exact_preread/exact_preread.h"
#include "host/runtime/journal.h"
#include "host/services/device_state.h"

namespace ZYRA::ResourceSchedule {
namespace {

using Texts = std::vector<std::string>;

class ExactPrereadConfigTest : public ::testing::Test, private Host::JournalSink {
protected:
    ExactPrereadConfigTest() { Host::Journal::GetInstance().AddSink(this); }
    ~ExactPrereadConfigTest() override { Host::Journal::GetInstance().RemoveSink(this); }

    Texts LoadConfig(std::list<Item> items) {
        Host::DeviceState state;
        state.config["exactPreread"] = {std::move(items)};
        Host::DeviceServices::GetInstance().Set(std::move(state));
        preread_.LoadExactPrereadConfig();
        return TakeTexts();
    }
    Texts TakeTexts() { return std::exchange(texts_, {}); }

    ExactPreread& preread_ = ExactPreread::GetInstance();

private:
    // Keeps the lines without the function and the line of the source, and the system events by name.
    void OnEntry(const Host::JournalEntry& entry) override {
        if (const auto* line = std::get_if<Host::LogEntry>(&entry.fact)) {
            const size_t prefixEnd = line->text.find("] ");
            texts_.push_back(prefixEnd == std::string::npos ? line->text : line->text.substr(prefixEnd + 2));
        } else if (const auto* event = std::get_if<Host::SysEventEntry>(&entry.fact)) {
            texts_.push_back(event->domain + " " + event->name);
        }
    }

    Texts texts_;
};

TEST_F(ExactPrereadConfigTest, TimeoutsComeFromTheFirstRowThatHoldsTheMemory) {
    struct Row {
        int64_t ramSizeMB;
        const char* text;
    };
    const Row rows[] = {
        {-1, "delayCollectTimeout_:0, pauseCollectTimeout_:1000,pauseAllCollectTimeout_:10000, "},
        {0, "delayCollectTimeout_:0, pauseCollectTimeout_:1000,pauseAllCollectTimeout_:10000, "},
        {1024, "delayCollectTimeout_:0, pauseCollectTimeout_:1000,pauseAllCollectTimeout_:10000, "},
        {1025, "delayCollectTimeout_:0, pauseCollectTimeout_:1500,pauseAllCollectTimeout_:10000, "},
        {2049, "delayCollectTimeout_:0, pauseCollectTimeout_:2000,pauseAllCollectTimeout_:8000, "},
        {3074, "delayCollectTimeout_:0, pauseCollectTimeout_:2000,pauseAllCollectTimeout_:8000, "},
        {4096, "delayCollectTimeout_:0, pauseCollectTimeout_:2000,pauseAllCollectTimeout_:8000, "},
        {6144, "delayCollectTimeout_:200, pauseCollectTimeout_:3000,pauseAllCollectTimeout_:8000, "},
        {6145, "delayCollectTimeout_:500, pauseCollectTimeout_:5000,pauseAllCollectTimeout_:8000, "},
        {16384, "delayCollectTimeout_:500, pauseCollectTimeout_:5000,pauseAllCollectTimeout_:8000, "},
    };
    for (const Row& row : rows) {
        preread_.LoadCollectTimeoutConfig(row.ramSizeMB);
        EXPECT_EQ(TakeTexts(), Texts{row.text + std::string("startCollectTimeout_:10000")}) << row.ramSizeMB;
    }
}

// (a) values other than 1 switch nothing on, whatever they name; an unknown name is reported only with a 1
// (b) a switch that is on
// (c) stays on when the configuration says otherwise later
TEST_F(ExactPrereadConfigTest, SwitchesAreSwitchedOnByOneAndNeverOff) {
    const auto load = [this](std::list<SubItem> subItems) { return LoadConfig({{{{"type", "switch"}}, subItems}}); };
    const std::string success = "LoadExactPrereadConfig success.";
    EXPECT_EQ(
        load({{"switch", "10", {}}, {"app_intra_switch", "true", {}}, {"other", "0", {}}, {"other", "1", {}}}),
        (Texts{"unexcepted sub item name", "isEnabled_:0, isAppStartupEnabled_: 0, misAppIntraEnabled_:0", success}));
    EXPECT_FALSE(preread_.IsEnabled());
    EXPECT_EQ(load({{"switch", "1", {}}, {"app_intra_switch", "0", {}}}),
              (Texts{"isEnabled_:1, isAppStartupEnabled_: 0, misAppIntraEnabled_:0", success}));
    EXPECT_TRUE(preread_.IsEnabled());
    EXPECT_EQ(load({{"switch", "0", {}}, {"app_intra_switch", "1", {}}}),
              (Texts{"isEnabled_:1, isAppStartupEnabled_: 0, misAppIntraEnabled_:1", success}));
}

TEST_F(ExactPrereadConfigTest, ItemsAreTakenByTheirExactTypeAndExcludedAppsAfresh) {
    const std::string success = "LoadExactPrereadConfig success.";
    EXPECT_EQ(LoadConfig({{{{"type", "Switch"}}, {{"switch", "1", {}}}}, {{{"kind", "switch"}}, {}}}),
              (Texts{"unexcepted item type.", success}));
    EXPECT_EQ(LoadConfig({{{{"type", "excludedApp"}},
                           {{"bundleName", "com.a", {}},
                            {"bundleName", "", {}},
                            {"name", "com.b", {}},
                            {"bundleName", "com.c", {}},
                            {"bundleName", "com.a", {}}}},
                          {{{"type", "excludedApp"}}, {}}}),
              (Texts{"excludedApps: com.a com.c com.a", "excludedApps: ", success}));
    EXPECT_EQ(LoadConfig({}), (Texts{"no exact preread config item.", "RSS INIT_FAULT"}));
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
