// SPDX-License-Identifier: Apache-2.0
#include "benchmarks/cost/running_plugin.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <thread>
#include <utility>
#include <variant>

#include "host/replay/device_model.h"
#include "host/sandbox/sandbox.h"
#include "platform/file_util.h"
#include "platform/log.h"

namespace ZYRA::Bench {

namespace {

using nlohmann::json;

constexpr uint32_t USER_INPUT = 9;
constexpr uint32_t PUSH_PAGE = 10;
constexpr uint32_t ABILITY_START = 27;
constexpr uint32_t CUST_CONFIG = 48;
constexpr uint32_t IGNORED = 10011;

// With room for one page in the set.
constexpr char DEVICE[] = R"({
    "bundles": {"com.example.mail": {"uid": 20010034}},
    "config": {"topScene": [{"properties": {"romsize": "128"}, "subItems": [{"name": "topN", "value": "1"}]}]}})";

// Counts what has been said, or done, on the device.
class Watch final : private Host::JournalSink {
public:
    using Question = std::function<bool(const Host::JournalEntry&)>;

    explicit Watch(Question question) : question_(std::move(question)) { Host::Journal::GetInstance().AddSink(this); }
    ~Watch() override { Host::Journal::GetInstance().RemoveSink(this); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    int Count() const { return count_; }

private:
    void OnEntry(const Host::JournalEntry& entry) override { count_ += question_(entry) ? 1 : 0; }

    const Question question_;
    std::atomic<int> count_{0};
};

Contender::Data MakeEvent(uint32_t resType, int64_t value, json payload) {
    return std::make_shared<ResourceSchedule::ResData>(ResourceSchedule::ResData{resType, value, std::move(payload)});
}

Contender::Data PageStart(const char* pageUrl) {
    return MakeEvent(
        PUSH_PAGE, 0,
        {{"uid", "20010034"}, {"clientPid", "3121"}, {"bundleName", "com.example.mail"}, {"pageUrl", pageUrl}});
}

}  // namespace

Options::Options(CLI::App& app, int rounds) : rounds_(rounds) {
    app.add_option("--rounds", rounds_)->check(CLI::Range(1, 1000));
    app.add_option("--plugin", plugin_);
}

std::string Options::PluginPath() const {
    std::string path;
    if (!PathToRealPath(plugin_, path)) {
        Fail("there is no " + plugin_);
    }
    return path;
}

void EnterSandboxOrExit() {
    constexpr int NO_SANDBOX = 77;
    constexpr uint64_t ROM_BYTES = 128ULL << 30;
    logThreshold = static_cast<int32_t>(LogLevel::FATAL);
    if (const auto refusal = Host::EnterSandbox({ROM_BYTES, ""})) {
        std::fprintf(stderr, "%s\n", refusal->c_str());
        std::exit(NO_SANDBOX);
    }
}

void Fail(const std::string& message) {
    std::fprintf(stderr, "%s\n", message.c_str());
    std::exit(EXIT_FAILURE);
}

std::vector<RunningPlugin::Case> RunningPlugin::Cases() {
    const json whole = {{"uid", "20010034"}, {"pid", "3121"}, {"bundleName", "com.example.mail"}};
    const json nameless = {{"uid", "20010034"}, {"pid", "3121"}, {"name", "com.example.mail"}};
    return {{"ignored type", MakeEvent(IGNORED, 0, whole), "ProcessResTypeEvent resType:10011"},
            {"para error", MakeEvent(ABILITY_START, 1, nameless), "para error."},
            {"user input", MakeEvent(USER_INPUT, 1, whole), "update lastInputTime_"},
            {"page push", PageStart("pages/detail/Item"), "pages.detail.Item, isTopNScene: 0"}};
}

std::unique_ptr<Host::VirtualDevice> StartDevice() {
    Host::LocatedJson document;
    document.value = json::parse(DEVICE);
    Host::DeviceModel model;
    ApplyDevicePatch(Host::JsonNode(document), Host::DevicePhase::DESCRIBING, model);
    std::string error;
    auto device = Host::VirtualDevice::Start(model, error);
    if (device == nullptr) {
        Fail(error);
    }
    return device;
}

HandledMark::HandledMark() : event_(MakeEvent(CUST_CONFIG, 0, json::object())) {
    Host::Journal::GetInstance().AddSink(this);
}

HandledMark::~HandledMark() {
    Host::Journal::GetInstance().RemoveSink(this);
}

void HandledMark::Wait() {
    handled_.acquire();
}

void HandledMark::OnEntry(const Host::JournalEntry& entry) {
    constexpr uint32_t EXTENSION = 8;
    constexpr int64_t SET_CUST_CONFIG = 1;
    const auto* request = std::get_if<Host::RequestEntry>(&entry.fact);
    if (request != nullptr && request->resType == EXTENSION && request->value == SET_CUST_CONFIG) {
        handled_.release();
    }
}

RunningPlugin::RunningPlugin(const std::string& path) : device_(StartDevice()) {
    // Once there is a set, the first page that is opened takes the only place in it.
    const Watch binds([](const auto& entry) { return std::holds_alternative<Host::BindEntry>(entry.fact); });
    std::string error;
    plugin_ = Host::PluginLibrary::Open(path, error);
    if (plugin_ == nullptr || !plugin_->Init()) {
        Fail("the plugin does not start: " + error);
    }
    while (binds.Count() == 0) {
        Dispatch(PageStart("pages/Index"));
        WaitUntilHandled();
    }
    // The start of another application ends the page's work and its time-outs; the last of the plugin's own start is
    // due three seconds after it.
    constexpr std::chrono::milliseconds QUIET_AFTER{3200};
    Dispatch(MakeEvent(ABILITY_START, 1, {{"uid", "20010035"}, {"bundleName", "com.example.maps"}}));
    std::this_thread::sleep_for(QUIET_AFTER);
    WaitUntilHandled();
}

RunningPlugin::~RunningPlugin() {
    plugin_->Disable();
}

void RunningPlugin::CheckCases() {
    for (const Case& one : Cases()) {
        const Watch said([&one](const auto& entry) {
            const auto* log = std::get_if<Host::LogEntry>(&entry.fact);
            return log != nullptr && log->text.find(one.line) != std::string::npos;
        });
        logThreshold = static_cast<int32_t>(LogLevel::DEBUG);
        Dispatch(one.data);
        WaitUntilHandled();
        logThreshold = static_cast<int32_t>(LogLevel::FATAL);
        if (said.Count() == 0) {
            Fail(std::string("the plugin does not take it for what it is: ") + one.name);
        }
    }
}

void RunningPlugin::WaitUntilHandled() {
    Dispatch(mark_.Event());
    mark_.Wait();
}

}  // namespace ZYRA::Bench
