// SPDX-License-Identifier: Apache-2.0
// Scenarios that are made up: the same for the same seed, and what somebody may do.

#include "host/workload/usage_generator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/replay/scenario.h"
#include "tests/workload/consistent_device.h"

namespace ZYRA::Host {
namespace {

constexpr int64_t US_PER_HOUR = 3600000000;

struct Generated {
    explicit Generated(const GeneratorOptions& options) {
        ScenarioText scenario([this](std::string_view lines) { text += lines; });
        UsageGenerator generator(options, scenario);
        device = generator.Device();
        generator.Run();
        InputError error;
        auto parsed = ParseScenario("s.jsonl", text, error);
        EXPECT_TRUE(parsed.has_value()) << error.Text();
        steps = parsed ? std::move(parsed->steps) : std::vector<ScenarioStep>();
    }
    std::string text;
    nlohmann::json device;
    std::vector<ScenarioStep> steps;
};

// One time that the screen was on.
struct Session {
    int64_t beginUs;
    int64_t endUs;
    bool endsCharging;
    size_t visits;
};

struct Seen {
    explicit Seen(const Generated& generated) {
        int64_t charging = ModelOf(generated.device).state.charging;
        for (const ScenarioStep& step : generated.steps) {
            if (const auto* device = std::get_if<DeviceStep>(&step.action)) {
                charging = device->patch.value("charging", charging);
                continue;
            }
            const auto& event = std::get<EventStep>(step.action);
            const std::string app = event.payload.value("bundleName", "");
            if (event.resType == 0 && event.value == 1) {
                sessions.push_back({step.timeUs, step.timeUs, false, 0});
            } else if (event.resType == 0) {
                sessions.back().endUs = step.timeUs;
                sessions.back().endsCharging = charging == 1;
            } else if (event.resType == 27) {
                ++sessions.back().visits;
                ++visitsOfApp[app];
            } else if (event.resType == 10 && event.value == 0) {
                ++openingsOfPage[app][event.payload.value("pageUrl", "")];
            } else if (event.resType == 15) {
                ++(event.value == 1 ? installs : removals);
            }
        }
    }

    std::vector<Session> sessions;
    std::map<std::string, size_t> visitsOfApp;
    std::map<std::string, std::map<std::string, size_t>> openingsOfPage;
    size_t installs = 0;
    size_t removals = 0;
};

std::vector<size_t> Descending(const std::map<std::string, size_t>& counts) {
    std::vector<size_t> sorted;
    for (const auto& [name, count] : counts) {
        sorted.push_back(count);
    }
    std::sort(sorted.begin(), sorted.end(), std::greater<>());
    return sorted;
}

// What one compiler or library makes of a seed, all make of it. After a change that is meant, the number is a new one.
TEST(UsageGeneratorTest, TheSeedDecidesEveryByteOnEveryMachine) {
    const Generated generated({3, 8, 1});
    uint64_t hash = 14695981039346656037U;
    for (const char c : generated.text + generated.device.dump()) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
    }
    EXPECT_EQ(hash, 7546270145340809029U);
    const Generated other({3, 8, 2});
    EXPECT_NE(generated.text, other.text);
    EXPECT_NE(generated.device["scenes"], other.device["scenes"]);
}

TEST(UsageGeneratorTest, WhatHappensFitsTheDeviceAtThatMoment) {
    const GeneratorOptions rows[] = {{1, 1, 7}, {2, 2, 8}, {4, 6, UINT64_MAX}, {8, 12, 0}, {1, 2000, 9}};
    for (const GeneratorOptions& options : rows) {
        const Generated generated(options);
        EXPECT_EQ(ConsistentDevice(ModelOf(generated.device)).Walk(generated.steps), "") << options.apps;
    }
}

TEST(UsageGeneratorTest, AFortnightLooksLikeSomebodysFortnight) {
    constexpr int64_t DAYS = 14;
    constexpr size_t APPS = 60;
    const Generated generated({DAYS, APPS, 1});
    ConsistentDevice device(ModelOf(generated.device));
    EXPECT_EQ(device.Walk(generated.steps), "");
    EXPECT_GT(device.coldStarts, device.warmStarts / 4);
    EXPECT_GT(device.warmStarts, device.coldStarts / 4);

    const Seen seen(generated);
    std::map<int64_t, std::vector<Session>> sessionsOfDay;
    for (const Session& session : seen.sessions) {
        // Before four it is the evening before.
        sessionsOfDay[(session.beginUs - 4 * US_PER_HOUR) / (24 * US_PER_HOUR)].push_back(session);
        EXPECT_GE(session.visits, 1u);
        EXPECT_LE(session.visits, 5u);
    }
    ASSERT_EQ(sessionsOfDay.size(), size_t{DAYS});
    for (const auto& [day, sessions] : sessionsOfDay) {
        const auto hourOf = [day = day](int64_t timeUs) {
            return static_cast<double>(timeUs - day * 24 * US_PER_HOUR) / US_PER_HOUR;
        };
        EXPECT_GE(sessions.size(), 60u) << day;
        EXPECT_LE(sessions.size(), 80u) << day;
        EXPECT_GE(hourOf(sessions.front().beginUs), 6.0) << day;
        EXPECT_LE(hourOf(sessions.front().beginUs), 9.5) << day;
        EXPECT_GE(hourOf(sessions.back().endUs), 22.4) << day;
        EXPECT_LE(hourOf(sessions.back().endUs), 25.5) << day;
        EXPECT_TRUE(sessions.back().endsCharging) << day;
        EXPECT_FALSE(sessions[sessions.size() - 2].endsCharging) << day;
        const auto unplugged = std::count_if(sessions.begin(), sessions.end(),
                                             [](const Session& session) { return !session.endsCharging; });
        EXPECT_GE(unplugged, static_cast<std::ptrdiff_t>(sessions.size() * 6 / 10)) << day;
    }
    EXPECT_GE(seen.installs, 1u);
    EXPECT_GE(seen.removals, 1u);
    EXPECT_LE(seen.installs + seen.removals, size_t{DAYS});
}

// Under Zipf's law the first of sixty has 21 % of all, and the first four have 45 %. Returning to where one came from
// evens that out a little.
TEST(UsageGeneratorTest, ApplicationsAndPagesAreUsedByZipfsLaw) {
    const Generated generated({14, 60, 3});
    const Seen seen(generated);
    const std::vector<size_t> visits = Descending(seen.visitsOfApp);
    size_t all = 0;
    for (const size_t count : visits) {
        all += count;
    }
    EXPECT_GE(visits.size(), 55u);
    EXPECT_GE(visits[0] * 100, all * 13);
    EXPECT_LE(visits[0] * 100, all * 26);
    EXPECT_GE((visits[0] + visits[1] + visits[2] + visits[3]) * 100, all * 33);
    EXPECT_LE((visits[0] + visits[1] + visits[2] + visits[3]) * 100, all * 55);
    EXPECT_GE(visits[3] * 100, visits[15] * 150);

    const auto scenes = ModelOf(generated.device).scenes.size() - 60;
    EXPECT_GE(scenes, 750u);
    EXPECT_LE(scenes, 1100u);
    const std::vector<size_t> openings = Descending(seen.openingsOfPage.at("com.example.mail"));
    EXPECT_GE(openings[0], openings[3] * 2);
    EXPECT_LE(openings[0], openings[3] * 8);
}

// A novelty is used a lot, and later as much as its rank says.
TEST(UsageGeneratorTest, ANewApplicationIsUsedMuchAtFirst) {
    const Generated generated({40, 20, 4});
    std::map<std::string, int64_t> installedUs;
    size_t early = 0;
    size_t late = 0;
    size_t installs = 0;
    for (const ScenarioStep& step : generated.steps) {
        const auto* event = std::get_if<EventStep>(&step.action);
        if (event == nullptr || (event->resType != 15 && event->resType != 27)) {
            continue;
        }
        const std::string app = event->payload.value("bundleName", "");
        if (event->resType == 15 && event->value == 1) {
            installedUs[app] = step.timeUs;
            ++installs;
        } else if (event->resType == 27 && installedUs.contains(app)) {
            const int64_t age = (step.timeUs - installedUs[app]) / (24 * US_PER_HOUR);
            early += age < 5 ? 1 : 0;
            late += age >= 12 && age < 17 ? 1 : 0;
        }
    }
    EXPECT_GE(installs, 4u);
    EXPECT_LE(installs, 20u);
    EXPECT_GE(early, late * 2);
    EXPECT_GE(late, 1u);
}

}  // namespace
}  // namespace ZYRA::Host
