// SPDX-License-Identifier: Apache-2.0
#include "host/workload/usage_generator.h"

#include <algorithm>
#include <utility>

namespace ZYRA::Host {

namespace {

// Words that bundle names and page URLs are made of.
constexpr const char* KINDS[] = {"mail",  "chat",  "browser", "camera",  "gallery", "maps",   "music",  "news",
                                 "video", "notes", "clock",   "weather", "reader",  "shop",   "wallet", "bank",
                                 "game",  "radio", "fitness", "recipes", "travel",  "forum",  "photos", "files",
                                 "tasks", "calls", "scanner", "social",  "lessons", "tickets"};
constexpr const char* AREAS[] = {"home", "detail", "search", "media", "account", "settings", "share", "help"};
constexpr const char* VIEWS[] = {"List", "Item", "Edit", "Info", "Result"};

constexpr uint64_t FEWEST_PAGES = 4;
constexpr uint64_t MOST_PAGES = std::size(AREAS) * std::size(VIEWS);

std::string BundleName(size_t number) {
    const size_t series = number / std::size(KINDS);
    return std::string("com.example.") + KINDS[number % std::size(KINDS)] +
           (series == 0 ? "" : std::to_string(series + 1));
}

// All pages but the first one, in an order of the application's own.
std::vector<std::string> PageUrls(Random& random) {
    std::vector<std::string> urls;
    for (const char* area : AREAS) {
        for (const char* view : VIEWS) {
            urls.push_back(std::string("pages/") + area + "/" + view);
        }
    }
    for (size_t left = urls.size(); left > 1; --left) {
        std::swap(urls[left - 1], urls[random.Below(left)]);
    }
    return urls;
}

std::vector<uint64_t> ZipfWeights(size_t count) {
    std::vector<uint64_t> weights;
    for (size_t rank = 1; rank <= count; ++rank) {
        weights.push_back(ZipfWeight(rank));
    }
    return weights;
}

// How long a person stays: mostly moments, now and then minutes.
int64_t StayMs(Random& random) {
    constexpr uint64_t SHORT_PERCENT = 70;
    constexpr uint64_t LONGER_PERCENT = 90;
    const uint64_t kind = random.Below(100);
    if (kind < SHORT_PERCENT) {
        return random.Between(2 * MS_PER_SECOND, 15 * MS_PER_SECOND);
    }
    if (kind < LONGER_PERCENT) {
        return random.Between(15 * MS_PER_SECOND, MS_PER_MINUTE);
    }
    return random.Between(MS_PER_MINUTE, 3 * MS_PER_MINUTE);
}

// A number from 1 to `most`, of which the small ones are the likelier.
uint64_t Few(uint64_t most, Random& random) {
    return 1 + std::min(random.Below(most), random.Below(most));
}

bool IsFreeDay(int64_t day) {
    constexpr int64_t DAYS_OF_WEEK = 7;
    constexpr int64_t SATURDAY = 5;  // The first day is a Monday.
    return day % DAYS_OF_WEEK >= SATURDAY;
}

}  // namespace

UsageGenerator::UsageGenerator(const GeneratorOptions& options, ScenarioText& scenario)
    : options_(options), random_(options.seed), device_(scenario, random_, true), appPopularity_({1}) {
    constexpr int64_t LONG_AGO = -1000;
    for (size_t rank = 1; rank <= options.apps; ++rank) {
        apps_.push_back(MakeApp(rank, LONG_AGO));
    }
    scenario.Comment("Generated: " + std::to_string(options.days) + " days, " + std::to_string(options.apps) +
                     " applications, seed " + std::to_string(options.seed) + ".");
}

nlohmann::json UsageGenerator::Device() const {
    std::vector<Application> apps;
    for (const InstalledApp& installed : apps_) {
        apps.push_back(installed.app);
    }
    return DeviceDocument(START_TIME_S, true, apps);
}

void UsageGenerator::Run(const std::function<void()>& afterDay) {
    for (day_ = 0; day_ < options_.days; ++day_) {
        LiveDay();
        if (afterDay) {
            afterDay();
        }
    }
}

UsageGenerator::InstalledApp UsageGenerator::MakeApp(uint64_t rank, int64_t day) {
    Application app = NewApplication(BundleName(appsMade_), appsMade_, random_);
    ++appsMade_;
    const std::vector<std::string> urls = PageUrls(random_);
    // The smaller of two numbers: most applications are small.
    const uint64_t range = MOST_PAGES - FEWEST_PAGES + 1;
    const uint64_t pageCount = FEWEST_PAGES + std::min(random_.Below(range), random_.Below(range));
    while (app.pages.size() < pageCount) {
        AddPage(app, urls[app.pages.size() - 1], random_);
    }
    return {std::move(app), Popularity(ZipfWeights(pageCount)), ZipfWeight(rank), day};
}

uint64_t UsageGenerator::WeightOf(const InstalledApp& installed) const {
    // A new application is used nearly as much as the most popular one; that wears off by half every two days.
    constexpr int64_t HALVED_AFTER_DAYS = 2;
    constexpr int64_t WORN_OFF_AFTER_DAYS = 30;
    const int64_t age = day_ - installed.installedDay;
    const uint64_t novelty = age >= WORN_OFF_AFTER_DAYS ? 0 : (ZipfWeight(1) * 3 / 4) >> (age / HALVED_AFTER_DAYS);
    return installed.lastingWeight + novelty;
}

void UsageGenerator::WeighApps() {
    std::vector<uint64_t> weights;
    for (const InstalledApp& installed : apps_) {
        weights.push_back(WeightOf(installed));
    }
    appPopularity_ = Popularity(weights);
}

void UsageGenerator::LiveDay() {
    WeighApps();
    const DayPlan plan = PlanDay(IsFreeDay(day_), random_);
    const int64_t midnightMs = day_ * MS_PER_DAY;
    const size_t last = plan.sessionsMs.size() - 1;
    const size_t changing = random_.Below(last);
    size_t nextChange = 0;
    for (size_t session = 0; session <= last; ++session) {
        const int64_t beginMs = midnightMs + plan.sessionsMs[session];
        ChargeUntil(beginMs, plan.chargerChanges, nextChange);
        // What was done before may have taken longer than planned.
        constexpr int64_t SHORTEST_PAUSE_MS = 20 * MS_PER_SECOND;
        device_.Pass(session == 0 ? 0 : SHORTEST_PAUSE_MS);
        device_.AdvanceTo(beginMs);
        device_.SwitchScreen(true);
        device_.Pass(random_.Between(500, 2500));
        if (session == changing) {
            ChangeApps();
        }
        UseApps();
        if (session == last) {
            device_.SetCharging(true);
            device_.Pass(random_.Between(500, 5000));
        }
        device_.SwitchScreen(false);
    }
}

void UsageGenerator::ChargeUntil(int64_t timeMs, const std::vector<ChargerChange>& changes, size_t& next) {
    for (; next < changes.size(); ++next) {
        const int64_t changeMs = day_ * MS_PER_DAY + changes[next].timeMs;
        if (changeMs > timeMs) {
            return;
        }
        device_.AdvanceTo(changeMs);
        device_.SetCharging(changes[next].isCharging);
    }
}

void UsageGenerator::ChangeApps() {
    // There are always about as many applications as in the beginning.
    constexpr uint64_t INSTALL_PERCENT = 25;
    constexpr uint64_t REMOVE_PERCENT = 35;
    const bool isFull = apps_.size() >= options_.apps;
    const bool hasRoom = apps_.size() < options_.apps + options_.apps / 10 + 2;
    if (hasRoom && random_.Chance(INSTALL_PERCENT)) {
        Install();
    }
    if (isFull && random_.Chance(REMOVE_PERCENT)) {
        Remove();
    }
    WeighApps();
}

void UsageGenerator::Install() {
    constexpr uint64_t BEST_RANK = 3;
    apps_.push_back(MakeApp(BEST_RANK + random_.Below(options_.apps), day_));
    device_.Install(apps_.back().app);
    device_.Pass(random_.Between(MS_PER_SECOND, 5 * MS_PER_SECOND));
}

void UsageGenerator::Remove() {
    // Nobody removes what is used most.
    constexpr uint64_t FIRST_RANK_REMOVED = 6;
    const auto chosen = apps_.begin() + static_cast<std::ptrdiff_t>(random_.Below(apps_.size()));
    if (WeightOf(*chosen) <= ZipfWeight(FIRST_RANK_REMOVED)) {
        device_.Remove(chosen->app);
        device_.Pass(random_.Between(MS_PER_SECOND, 5 * MS_PER_SECOND));
        apps_.erase(chosen);
    }
}

void UsageGenerator::UseApps() {
    constexpr uint64_t MOST_VISITS = 5;
    size_t current = NONE;
    size_t previous = NONE;
    for (uint64_t visits = Few(MOST_VISITS, random_); visits > 0; --visits) {
        const size_t next = ChooseApp(current, previous);
        previous = std::exchange(current, next);
        Visit(apps_[current]);
    }
}

size_t UsageGenerator::ChooseApp(size_t current, size_t previous) {
    constexpr uint64_t RETURN_PERCENT = 25;
    constexpr int TRIES = 4;
    if (previous != NONE && random_.Chance(RETURN_PERCENT)) {
        return previous;
    }
    // To leave an application for itself is rare, and all that is left when there is one only.
    size_t chosen = current;
    for (int tries = 0; tries < TRIES && chosen == current; ++tries) {
        chosen = appPopularity_.Pick(random_);
    }
    return chosen;
}

void UsageGenerator::Visit(const InstalledApp& installed) {
    constexpr uint64_t MOST_PAGES_SEEN = 10;
    size_t page = device_.Start(installed.app) ? 0 : NONE;
    device_.Pass(StayMs(random_));
    for (uint64_t pagesSeen = Few(MOST_PAGES_SEEN, random_); pagesSeen > 1; --pagesSeen) {
        size_t next = page;
        while (next == page) {
            next = installed.pages.Pick(random_);
        }
        page = next;
        device_.Navigate(installed.app, installed.app.pages[page].url);
        device_.Pass(StayMs(random_));
    }
}

}  // namespace ZYRA::Host
