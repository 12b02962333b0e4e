// SPDX-License-Identifier: Apache-2.0
// Any text as lines of a scenario, of which those that are events count: whatever comes, the plugin tells the kernel
// and the executor only what they understand, leaves nothing in the file system but its own, and a minute later serves
// a cold start as if nothing had been before it.

#include <filesystem>
#include <regex>
#include <sstream>

#include "exact_preread/exact_preread_executor.h"
#include "fuzz/require.h"
#include "host/replay/scenario.h"
#include "host/replay/virtual_device.h"
#include "host/runtime/virtual_runtime.h"
#include "platform/delayed_singleton.h"
#include "platform/res_data.h"

extern "C" {
bool OnPluginInit(std::string& libName);
void OnPluginDisable();
void OnDispatchResource(const std::shared_ptr<ZYRA::ResourceSchedule::ResData>& data);
}

using namespace ZYRA::Host;
using namespace ZYRA::ResourceSchedule;

namespace {

constexpr int64_t MINUTE_US = 60000000;
constexpr int64_t DAY_US = 1440 * MINUTE_US;
constexpr char COLD_START[] = R"({"event": {"type": 9, "value": 1}}
{"event": {"type": 27, "value": 1, "payload": {"bundleName": "com.start.cold", "uid": "20019999"}}}
{"event": {"type": 4, "value": 0, "payload": {"bundleName": "com.start.cold", "uid": "20019999", "pid": "99"}}}
{"event": {"type": 10, "value": 1, "payload": {"bundleName": "com.start.cold", "uid": "20019999", "clientPid": "99", "pageUrl": "a"}}}
)";
const std::string STORE = "/data/service/el1/public/ressched";
const std::regex SCENE("[A-Za-z][A-Za-z0-9_.]{6,126}/[^/]+");
const std::regex STORED(STORE + "(/top_scene\\.db|/workingset(/[A-Za-z][A-Za-z0-9_.]{6,126}(/[^/]+)?)?)?");
// What is told to which file, a blank between them.
const std::regex COMMANDS(
    "/dev/workingset/monitor[01]/workingset\\.state (INWORKING|PAUSED|STOP|ABORT|BACKUP)|"
    "/dev/workingset/((monitor[01]/)?cgroup\\.procs|monitor[01]/workingset\\.clearYoung) [1-9][0-9]*|"
    "/dev/workingset/workingset\\.dfxinfo 0|"
    "/dev/iolimit/(iocontrol|heavyio|ionormal)/cgroup\\.procs [1-9][0-9]*|"
    "/dev/iolimit/(iocontrol|heavyio)/iolimit\\.((read|write)_limit 3145728|offon [01])");
// Type, value and members of what the executor is asked for.
const std::regex REQUESTS("8 0 appPid extType index |8 1 extType |8 2 content extType filePath |0 3 extType filePath ");

bool IsCommand(const std::string& path, const std::string& content) {
    if (path.ends_with("/workingset.data")) {
        const auto line = ParseSceneLine(content);
        return line && line->uid > 0 && std::regex_match(line->scene, SCENE) &&
               line->recordPath == STORE + "/workingset/" + line->scene;
    }
    return path.ends_with(".clearRecord") ? std::regex_match(content, SCENE)
                                          : std::regex_match(path + " " + content, COMMANDS);
}

// The life of a device and of the plugin on it; the next one finds nothing of it.
class Life final : private JournalSink {
public:
    Life() {
        TaskRuntime::Install(runtime_);
        Journal::GetInstance().AddSink(this);
        DeviceModel model;
        model.state.bundles = {{"com.example.mail", {20010034}}};
        model.state.processes = {{3121, {20010034, {"com.example.mail"}}}};
        std::string text;
        device_ = VirtualDevice::Start(model, text);
        Require(device_ != nullptr, text);
        text = "libio_sched_plugin.z.so";
        Require(OnPluginInit(text), "the plugin starts");
        RunFor(0);
    }
    ~Life() override {
        Play(R"({"event": {"type": 0, "value": 0}})");
        RunFor(7 * DAY_US);  // The database is closed by then.
        OnPluginDisable();
        device_.reset();
        Journal::GetInstance().RemoveSink(this);
        TaskRuntime::InstallDefault();
        ZYRA::DelayedSingleton<ExactPrereadExecutor>::DestroyInstance();
        ZYRA::DelayedSingleton<WorkStateInfo>::DestroyInstance();
        for (const auto& entry : std::filesystem::recursive_directory_iterator("/data")) {
            const std::string& path = entry.path();
            Require(STORE.starts_with(path) || std::regex_match(path, STORED), "the plugin leaves its own: " + path);
        }
        std::filesystem::remove_all(STORE);
        std::filesystem::create_directory(STORE);
    }

    void RunFor(int64_t us) { runtime_.RunUntil(runtime_.ElapsedUs() + us); }

    // Lets the events of the lines happen, and what follows from them.
    void Play(const std::string& text) {
        std::istringstream lines(text);
        const int64_t begin = runtime_.ElapsedUs();
        for (std::string line; std::getline(lines, line);) {
            InputError error;
            const auto scenario = ParseScenario("", line, error);
            const ScenarioStep* step = scenario && !scenario->steps.empty() ? &scenario->steps.front() : nullptr;
            const auto* event = step != nullptr ? std::get_if<EventStep>(&step->action) : nullptr;
            if (event != nullptr) {
                runtime_.RunUntil(begin + std::min(step->timeUs, DAY_US));
                OnDispatchResource(std::make_shared<ResData>(ResData{event->resType, event->value, event->payload}));
            }
        }
        RunFor(MINUTE_US);
        Require(violation_.empty(), violation_);
        Require(words_[0] != "INWORKING" && words_[1] != "INWORKING", "no collection goes on for ever");
    }

    // Starts an application of which no input knows, and gives what that made the kernel do.
    std::string ColdStart() {
        kernel_.clear();
        Play(COLD_START);
        Require(kernel_.ends_with("record com.start.cold/com.start.cold\n"), "a cold start makes a record: " + kernel_);
        // What ends the work before is not of it.
        return kernel_.substr(kernel_.find(" 20019999 0 "));
    }

private:
    // On threads of the kernel, too, which must not end here: the plugin would wait for them.
    void OnEntry(const JournalEntry& entry) override {
        if (const auto* write = std::get_if<FileWriteEntry>(&entry.fact)) {
            const std::string line = write->path + " " + write->content + "\n";
            violation_ += IsCommand(write->path, write->content) ? "" : "a command that there is: " + line;
            kernel_ += line.starts_with("/dev/workingset/") ? line : "";
        } else if (const auto* monitor = std::get_if<MonitorEntry>(&entry.fact)) {
            words_[monitor->monitor] = monitor->state;
        } else if (const auto* record = std::get_if<RecordEntry>(&entry.fact)) {
            kernel_ += "record " + record->scene + "\n";
        } else if (const auto* request = std::get_if<RequestEntry>(&entry.fact)) {
            std::string line = std::to_string(request->resType) + " " + std::to_string(request->value) + " ";
            for (const auto& [name, value] : request->payload.items()) {
                line += name + (value.is_string() ? " " : "?");
            }
            violation_ += std::regex_match(line, REQUESTS) ? "" : "a request that there is: " + line;
        } else if (const auto* refused = std::get_if<RefusedEntry>(&entry.fact)) {
            violation_ += "what is asked for can be done: " + refused->reason;
        } else if (const auto* log = std::get_if<LogEntry>(&entry.fact)) {
            violation_ += log->text.find("unexpected exception") == std::string::npos ? "" : log->text;
        }
    }

    // The plugin remembers when something was last shown: that is to be in the past.
    static inline int64_t startTimeS = 1750000000;
    VirtualRuntime runtime_{startTimeS += 10 * DAY_US / 1000000};
    std::unique_ptr<VirtualDevice> device_;
    // Written under the journal's lock, read while nothing happens.
    std::string violation_;
    std::string kernel_;
    std::map<int, std::string> words_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string UNDISTURBED = Life().ColdStart();
    Life life;
    life.Play({reinterpret_cast<const char*>(data), size});
    const std::string start = life.ColdStart();
    Require(start == UNDISTURBED, "a cold start is what it is on a new device:\n" + UNDISTURBED + "not\n" + start);
    return 0;
}
