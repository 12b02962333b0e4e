#include "benchmarks/cost/running_plugin.h"

#include <cstdio>
#include <cstdlib>
#include <variant>

#include "host/replay/device_model.h"
#include "host/sandbox/sandbox.h"
#include "platform/log.h"

namespace ZYRA::Bench {

namespace {

using nlohmann::json;

constexpr uint32_t USER_INPUT = 9;
constexpr uint32_t PUSH_PAGE = 10;
constexpr uint32_t ABILITY_START = 27;
constexpr uint32_t CUST_CONFIG = 48;
constexpr uint32_t IGNORED = 10011;

// A set of one page that nobody opens.
constexpr char DEVICE[] = R"({
    "bundles": {"com.example.mail": {"uid": 20010034}},
    "config": {"topScene": [{"properties": {"romsize": "128"}, "subItems": [{"name": "topN", "value": "1"}]}]}})";

Contender::Data Event(uint32_t resType, int64_t value, json payload) {
    return std::make_shared<ResourceSchedule::ResData>(ResourceSchedule::ResData{resType, value, std::move(payload)});
}

Contender::Data PageStart(const char* pageUrl) {
    return Event(
        PUSH_PAGE, 0,
        {{"uid", "20010034"}, {"clientPid", "3121"}, {"bundleName", "com.example.mail"}, {"pageUrl", pageUrl}});
}

}  // namespace

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
    return {
        {"ignored type", Event(IGNORED, 0, whole)},
        {"para error", Event(ABILITY_START, 1, {{"uid", "20010034"}, {"pid", "3121"}, {"name", "com.example.mail"}})},
        {"user input", Event(USER_INPUT, 1, whole)},
        {"page push", PageStart("pages/detail/Item")}};
}

RunningPlugin::RunningPlugin(const std::string& path) {
    Host::LocatedJson document;
    document.value = json::parse(DEVICE);
    Host::DeviceModel model;
    ApplyDevicePatch(Host::JsonNode(document), Host::DevicePhase::DESCRIBING, model);
    std::string error;
    device_ = Host::VirtualDevice::Start(model, error);
    plugin_ = device_ == nullptr ? nullptr : Host::PluginLibrary::Open(path, error);
    if (plugin_ == nullptr) {
        Fail(error);
    }
    Host::Journal::GetInstance().AddSink(this);
    plugin_->Init();
    // Once there is a set, the first page that is opened takes the only place in it.
    while (!isReady_) {
        Dispatch(PageStart("pages/Index"));
        WaitUntilHandled();
    }
}

RunningPlugin::~RunningPlugin() {
    plugin_->Disable();
    Host::Journal::GetInstance().RemoveSink(this);
}

void RunningPlugin::WaitUntilHandled() {
    std::promise<void> handled;
    {
        MutexLock lock(mutex_);
        handled_ = &handled;
    }
    Dispatch(Event(CUST_CONFIG, 0, json::object()));
    handled.get_future().wait();
}

void RunningPlugin::OnEntry(const Host::JournalEntry& entry) {
    constexpr uint32_t EXTENSION = 8;
    constexpr int64_t SET_CUST_CONFIG = 1;
    if (std::holds_alternative<Host::BindEntry>(entry.fact)) {
        isReady_ = true;
    }
    const auto* request = std::get_if<Host::RequestEntry>(&entry.fact);
    if (request == nullptr || request->resType != EXTENSION || request->value != SET_CUST_CONFIG) {
        return;
    }
    MutexLock lock(mutex_);
    if (auto* const handled = std::exchange(handled_, nullptr); handled != nullptr) {
        handled->set_value();
    }
}

}  // namespace ZYRA::Bench
