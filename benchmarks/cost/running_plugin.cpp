#include "benchmarks/cost/running_plugin.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <utility>
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

// Whether a scene has been bound to a monitor.
class BindWatch final : private Host::JournalSink {
public:
    BindWatch() { Host::Journal::GetInstance().AddSink(this); }
    ~BindWatch() override { Host::Journal::GetInstance().RemoveSink(this); }
    BindWatch(const BindWatch&) = delete;
    BindWatch& operator=(const BindWatch&) = delete;

    bool HasBound() const { return hasBound_; }

private:
    void OnEntry(const Host::JournalEntry& entry) override {
        if (std::holds_alternative<Host::BindEntry>(entry.fact)) {
            hasBound_ = true;
        }
    }

    std::atomic<bool> hasBound_{false};
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
    return {{"ignored type", MakeEvent(IGNORED, 0, whole)},
            {"para error",
             MakeEvent(ABILITY_START, 1, {{"uid", "20010034"}, {"pid", "3121"}, {"name", "com.example.mail"}})},
            {"user input", MakeEvent(USER_INPUT, 1, whole)},
            {"page push", PageStart("pages/detail/Item")}};
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
    BindWatch bind;
    std::string error;
    plugin_ = Host::PluginLibrary::Open(path, error);
    if (plugin_ == nullptr || !plugin_->Init()) {
        Fail("the plugin does not start: " + error);
    }
    while (!bind.HasBound()) {
        Dispatch(PageStart("pages/Index"));
        WaitUntilHandled();
    }
}

RunningPlugin::~RunningPlugin() {
    plugin_->Disable();
}

void RunningPlugin::WaitUntilHandled() {
    Dispatch(mark_.Event());
    mark_.Wait();
}

}  // namespace ZYRA::Bench
