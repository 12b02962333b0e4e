// SPDX-License-Identifier: Apache-2.0
// Timelines for a trace viewer, read back by the compiler of protocol buffers.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/replay/sink_registration.h"
#include "host/report/trace/trace_writer.h"
#include "host/runtime/virtual_runtime.h"
#include "platform/trace.h"
#include "tests/shipped/host_runner.h"

namespace ZYRA::Host {
namespace {

// A decoded message: its fields in the order of the text, which are values or messages.
struct Message {
    std::string field;
    std::string value;
    std::vector<Message> members;

    std::vector<std::string> All(const std::string& name) const {
        std::vector<std::string> values;
        for (const Message& member : members) {
            if (member.field == name) {
                values.push_back(member.value);
            }
        }
        return values;
    }
    std::string Get(const std::string& name) const { return All(name).empty() ? "" : All(name).front(); }
    const Message* Find(const std::string& name) const {
        const auto found =
            std::find_if(members.begin(), members.end(), [&](const auto& one) { return one.field == name; });
        return found == members.end() ? nullptr : &*found;
    }
};

struct Event {
    uint64_t ns = 0;
    std::string track;
    std::string type;
    std::string name;
    std::string category;
    std::string counter;
    std::vector<std::string> started = {};  // Flows.
    std::vector<std::string> ended = {};
    std::map<std::string, std::string> notes = {};
};

struct Slice {
    uint64_t beginNs;
    uint64_t endNs;
    std::string name;
};

// A trace file, which is held to what must be so of each.
class Timeline {
public:
    explicit Timeline(const std::string& file) {
        const std::string command =
            std::string(PROTOC) + " --decode=Trace -I " PROTO_FOLDER " perfetto_subset.proto < " + file;
        FILE* pipe = popen(command.c_str(), "re");
        Message trace = ReadMembers(pipe, "");
        EXPECT_EQ(pclose(pipe), 0) << command;
        for (const Message& packet : trace.members) {
            EXPECT_EQ(packet.Get("trusted_packet_sequence_id"), "1");
            if (const Message* track = packet.Find("track_descriptor"); track != nullptr) {
                EXPECT_TRUE(tracks_.emplace(track->Get("uuid"), track->Get("name")).second);
                EXPECT_EQ(track->Get("parent_uuid"), track->Find("process") != nullptr ? "" : "1");
            } else {
                events_.push_back(ReadEvent(packet, *packet.Find("track_event")));
            }
        }
        CheckTimesAndNesting();
        CheckFlows();
    }

    const std::vector<Event>& Events() const { return events_; }
    const std::vector<Slice>& Slices(const std::string& track) { return slices_[track]; }
    const std::string& LastValue(const std::string& counter) { return values_[counter]; }
    // Tracks of that name.
    size_t Tracks(const std::string& name) const {
        return static_cast<size_t>(
            std::count_if(tracks_.begin(), tracks_.end(), [&](const auto& track) { return track.second == name; }));
    }
    const Event& Find(const std::string& name) const {
        static const Event none;
        const auto found =
            std::find_if(events_.begin(), events_.end(), [&](const auto& one) { return one.name == name; });
        EXPECT_NE(found, events_.end()) << name;
        return found == events_.end() ? none : *found;
    }

private:
    static std::string TakeLine(FILE* pipe) {
        std::string line;
        for (int byte = 0; (byte = std::fgetc(pipe)) != EOF && byte != '\n';) {
            line += static_cast<char>(byte);
        }
        return line.substr(std::min(line.size(), line.find_first_not_of(' ')));
    }
    // A field that the compiler does not know is told by its number.
    static Message ReadMembers(FILE* pipe, const std::string& field) {
        Message message{field, "", {}};
        for (std::string line = TakeLine(pipe); !line.empty() && line != "}"; line = TakeLine(pipe)) {
            EXPECT_FALSE(line.front() >= '0' && line.front() <= '9') << line;
            const size_t colon = line.find(": ");
            if (line.ends_with(" {")) {
                message.members.push_back(ReadMembers(pipe, line.substr(0, line.size() - 2)));
            } else {
                const std::string value = line.substr(colon + 2);
                const bool isText = value.front() == '"';
                message.members.push_back(
                    {line.substr(0, colon), isText ? value.substr(1, value.size() - 2) : value, {}});
            }
        }
        return message;
    }

    Event ReadEvent(const Message& packet, const Message& message) {
        Event event{std::stoull(packet.Get("timestamp")),
                    message.Get("track_uuid"),
                    message.Get("type"),
                    message.Get("name"),
                    message.Get("categories"),
                    message.Get("counter_value"),
                    message.All("flow_ids"),
                    message.All("terminating_flow_ids")};
        for (const Message& member : message.members) {
            if (member.field == "debug_annotations") {
                const auto& value =
                    member.members.front().field == "name" ? member.members.back() : member.members.front();
                event.notes[member.Get("name")] = value.value;
            }
        }
        return event;
    }

    // Slices nest, are ended and stand on tracks that were described before; what is on a queue's track belongs to a
    // task. From then on events know their tracks by name.
    void CheckTimesAndNesting() {
        std::map<std::string, std::vector<Slice>> open;
        uint64_t lastNs = 0;
        for (Event& event : events_) {
            EXPECT_GT(event.ns, lastNs);
            lastNs = event.ns;
            ASSERT_EQ(tracks_.count(event.track), 1u) << event.name;
            const std::string uuid = std::exchange(event.track, tracks_[event.track]);
            const bool isOfQueue = event.track.starts_with("Queue ");
            if (event.type == "TYPE_SLICE_BEGIN") {
                EXPECT_EQ(!event.ended.empty(), isOfQueue && open[uuid].empty()) << event.name;
                open[uuid].push_back({event.ns, 0, event.name});
            } else if (event.type == "TYPE_SLICE_END") {
                ASSERT_FALSE(open[uuid].empty()) << event.track << " at " << event.ns;
                open[uuid].back().endNs = event.ns;
                slices_[event.track].push_back(open[uuid].back());
                open[uuid].pop_back();
            } else if (event.type == "TYPE_COUNTER") {
                values_[event.track] = event.counter;
            } else {
                EXPECT_EQ(event.type, "TYPE_INSTANT");
                EXPECT_TRUE(!isOfQueue || !open[uuid].empty()) << event.name;
            }
        }
        for (const auto& [uuid, slices] : open) {
            EXPECT_TRUE(slices.empty()) << tracks_[uuid];
        }
    }

    // A flow leads from where a task was submitted to that task, or to none if it was cancelled.
    void CheckFlows() const {
        std::set<std::string> known;
        std::set<std::string> open;
        for (const Event& event : events_) {
            for (const std::string& id : event.started) {
                EXPECT_TRUE(known.insert(id).second) << id;
                open.insert(id);
                EXPECT_TRUE(event.track == "Steps" || event.track.starts_with("Queue ") ||
                            event.track == "Other threads")
                    << event.track;
            }
            for (const std::string& id : event.ended) {
                EXPECT_EQ(open.erase(id), 1u) << id;
                EXPECT_EQ(event.notes.at("task"), id);
            }
            if (event.name.starts_with("cancel ")) {
                EXPECT_EQ(open.erase(event.notes.at("task")), 1u) << event.name;
            }
        }
        EXPECT_TRUE(open.empty()) << *open.begin();
    }

    std::map<std::string, std::string> tracks_;  // Names by uuid.
    std::vector<Event> events_;
    std::map<std::string, std::vector<Slice>> slices_;  // By track, in the order of their ends.
    std::map<std::string, std::string> values_;
};

class TraceTest : public HostRunnerTest {
protected:
    static std::string Read(const std::string& file) {
        std::stringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }

    std::string File(const char* name) const { return (folder_ / name).string(); }
};

// The states of a monitor with the microsecond in which each began.
using States = std::vector<std::pair<uint64_t, std::string>>;

std::array<States, 2> StatesOf(const std::string& journal) {
    std::array<States, 2> states = {States{{0, "OUTOFWORK"}}, States{{0, "OUTOFWORK"}}};
    std::istringstream lines(journal);
    for (std::string line; std::getline(lines, line);) {
        if (const auto entry = nlohmann::json::parse(line); entry["kind"] == "monitor") {
            states.at(entry["monitor"].get<size_t>()).emplace_back(entry["t"], entry["state"]);
        }
    }
    return states;
}

// What the timeline shows of a scenario is what the journal and the summary of the same run tell; and the journal is
// that of a run without it.
TEST_F(TraceTest, ShowsWhatTheJournalAndTheSummaryTell) {
    for (const char* name :
         {"cold_start_second", "kernel_files_fail", "limit_background", "limit_files_fail", "learning"}) {
        SCOPED_TRACE(name);
        const std::string scenario = std::string("replay ") + SCENARIO_DIR + "/" + name + ".jsonl --journal ";
        const Outcome outcome =
            RunHost(scenario + File("journal") + " --json " + File("json") + " --trace " + File("trace"));
        ASSERT_EQ(outcome.exitStatus, 0) << outcome.output;
        ASSERT_EQ(RunHost(scenario + File("other") + " --trace " + File("again")).exitStatus, 0);
        EXPECT_EQ(Read(File("trace")), Read(File("again")));
        ASSERT_EQ(RunHost(scenario + File("other")).exitStatus, 0);
        const std::string journal = Read(File("journal"));
        EXPECT_EQ(journal, Read(File("other")));
        const auto summary = nlohmann::json::parse(Read(File("json")));

        Timeline timeline(File("trace"));
        for (const char* track : {"Steps", "Faults", "System events", "Queue iosched_main_th", "Queue iosched_task_th",
                                  "Queue executor", "Monitor 0", "Monitor 1", "Limit iocontrol", "Limit heavyio",
                                  "Prereads", "Bytes preread", "Records made", "Top set size"}) {
            EXPECT_EQ(timeline.Tracks(track), 1u) << track;
        }
        const auto states = StatesOf(journal);
        for (size_t monitor = 0; monitor < states.size(); ++monitor) {
            States shown;
            for (const Slice& slice : timeline.Slices("Monitor " + std::to_string(monitor))) {
                shown.emplace_back(slice.beginNs / 1000, slice.name);
            }
            EXPECT_EQ(shown, states.at(monitor));
        }
        for (const auto& [group, switched] : summary["limits"]["switches"].items()) {
            const auto& slices = timeline.Slices("Limit " + group);
            uint64_t onUs = 0;
            for (const Slice& slice : slices) {
                onUs += slice.endNs / 1000 - slice.beginNs / 1000;
            }
            EXPECT_EQ(onUs, switched["onUs"]) << group;
            EXPECT_EQ(slices.size(), switched["times"]) << group;
        }
        for (const Slice& slice : timeline.Slices("Steps")) {
            EXPECT_EQ(slice.beginNs / 1000, slice.endNs / 1000) << slice.name;
        }
        std::map<std::string, uint64_t> shown;
        size_t steps = 0;
        size_t submitted = 0;
        for (const Event& event : timeline.Events()) {
            shown[event.track == "Faults" ? event.category : ""] += 1;
            steps += event.name.starts_with("event ") ? 1 : 0;
            submitted += event.ended.empty() ? 0 : 1;
            EXPECT_TRUE(event.name != "OUTOFWORK" || event.notes.empty()) << event.ns;
        }
        EXPECT_EQ(steps, summary["counts"]["events"]);
        EXPECT_EQ(submitted, summary["counts"]["tasks"]);
        for (const auto& [kind, tally] : summary["failures"].items()) {
            uint64_t told = tally["others"];
            for (const auto& [text, count] : tally["counts"].items()) {
                told += count.get<uint64_t>();
            }
            EXPECT_EQ(shown[kind], told) << kind;
        }
        std::map<std::string, uint64_t> sums;
        for (const auto& [scene, told] : summary["scenes"].items()) {
            for (const char* member : {"prereads", "bytes", "records"}) {
                sums[member] += told[member].get<uint64_t>();
            }
        }
        EXPECT_EQ(timeline.LastValue("Prereads"), std::to_string(sums["prereads"]));
        EXPECT_EQ(timeline.LastValue("Bytes preread"), std::to_string(sums["bytes"]));
        EXPECT_EQ(timeline.LastValue("Records made"), std::to_string(sums["records"]));
        EXPECT_EQ(timeline.LastValue("Top set size"), summary["learning"]["setSize"].dump());
    }
}

// (a) A start whose preread is a span of a task that the event has submitted, on threads; (b) the callback of a
// shutdown, on a thread of its own.
TEST_F(TraceTest, InRealTimeTheThreadsDoNotDisturbIt) {
    const std::string scenario =
        Write("s.jsonl", R"({"device": {"scenes": {"com.example.mail/com.example.mail": {"record": "uptodate"}}}}
{"t": 100, "event": {"type": 27, "value": 1, "payload": {"bundleName": "com.example.mail", "uid": "20010034"}}}
{"t": 200, "shutdown": true}
)");
    const Outcome outcome = RunHost("replay " + scenario + " --real-time --settle 1000 --trace " + File("trace"));
    ASSERT_EQ(outcome.exitStatus, 0) << outcome.output;
    Timeline timeline(File("trace"));
    EXPECT_GE(timeline.Find("event 27 com.example.mail").ns, 100000000u);
    EXPECT_EQ(timeline.Find("AsyncStartPreread").track, "Queue iosched_main_th");
    EXPECT_EQ(timeline.Find("PAUSED").notes.at("scene"), "com.example.mail/com.example.mail");
    EXPECT_EQ(timeline.LastValue("Prereads"), "1");
    EXPECT_EQ(timeline.Find("shutdown").track, "Steps");
    EXPECT_NE(timeline.Find("write workingset.dfxinfo").track, "");
}

TEST_F(TraceTest, AFileThatCannotBeWrittenIsToldWithItsStatus) {
    const std::string scenario = Write("s.jsonl", R"({"t":5,"event":{"type":9,"value":1}})");
    const struct {
        std::string arguments;
        int exitStatus;
        std::string message;  // Contained in the output.
    } rows[] = {
        {"--trace /dev/full", 1, "/dev/full: No space left on device"},
        {"--trace " + File("missing/trace"), 2, "missing/trace: No such file or directory"},
        {"--trace " + scenario, 2, "s.jsonl: is the scenario, and cannot be written to"},
        {"--trace - --json -", 2, "only one of --journal, --json, --report and --trace can go to standard output"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = RunHost("replay " + scenario + " " + row.arguments);
        EXPECT_EQ(outcome.exitStatus, row.exitStatus) << outcome.output;
        EXPECT_NE(outcome.output.find(row.message), std::string::npos) << outcome.output;
    }
}

// What happens writes its timeline from here on, on virtual time.
class WrittenTraceTest : public TraceTest {
protected:
    WrittenTraceTest() { TaskRuntime::Install(runtime_); }
    ~WrittenTraceTest() override { TaskRuntime::InstallDefault(); }

    Timeline Trace(const std::function<void(Journal&)>& happen) {
        const auto file = OutputFile::Create(File("trace"));
        TraceWriter writer(*file);
        {
            const SinkRegistration registration(&writer);
            happen(Journal::GetInstance());
        }
        writer.Finish();
        EXPECT_EQ(file->Finish(), 0);
        return Timeline(File("trace"));
    }

    VirtualRuntime runtime_{0};
};

TEST_F(WrittenTraceTest, NumbersAndTextsComeBackAsTheyWere) {
    const nlohmann::json payload = {{"negative", -5},
                                    {"least", std::numeric_limits<int64_t>::min()},
                                    {"most", std::numeric_limits<uint64_t>::max()},
                                    {"onebyte", 127},
                                    {"twobytes", 128},
                                    {"half", -0.5},
                                    {"yes", true},
                                    {"bytes", "\xff"},
                                    {"list", {1, "\xc3\xa9"}}};
    const Timeline timeline = Trace([&](Journal& journal) {
        journal.Append(EventStep{27, -1, payload});
        journal.Append(EventStep{28, 0, "no object"});
        journal.Append(
            SysEventEntry{"RSS", "FAILED", EventLogType::FAULT, {{"CODE", int32_t{-7}}, {"SCENE", "com.a"}}});
    });
    const std::map<std::string, std::string> expected = {{"type", "27"},
                                                         {"value", "-1"},
                                                         {"negative", "-5"},
                                                         {"least", "-9223372036854775808"},
                                                         {"most", "18446744073709551615"},
                                                         {"onebyte", "127"},
                                                         {"twobytes", "128"},
                                                         {"half", "-0.5"},
                                                         {"yes", "true"},
                                                         {"bytes", "\\357\\277\\275"},
                                                         {"list", "[1,\\\"\\303\\251\\\"]"}};
    EXPECT_EQ(timeline.Find("event 27").notes, expected);
    EXPECT_EQ(timeline.Find("event 28").notes.at("payload"), "no object");
    EXPECT_EQ(timeline.Find("FAILED").notes,
              (std::map<std::string, std::string>{{"domain", "RSS"}, {"CODE", "-7"}, {"SCENE", "com.a"}}));
}

// (a) A task leaves a span open, another ends one too many; (b) a thread of its own submits a task during a step, and
// has a span; (c) queues of one name run at the same time; (d) a task and a step are open at the end.
TEST_F(WrittenTraceTest, SlicesNestWhateverIsReported) {
    Timeline timeline = Trace([&](Journal& journal) {
        const auto queue = TaskQueue::Create("queue", 0);
        queue->Submit([] { StartTrace(1, "left open"); }, "opens", 0);
        queue->Submit(
            [&journal] {
                journal.Append(SpanEntry{"one too many", false});
                journal.Append(RequestEntry{false, 8, 0, nullptr});
            },
            "ends", 0);
        runtime_.RunUntil(1000);
        journal.Append(PluginStep{false});
        std::thread([&queue] {
            const TraceSpan span(1, "of another thread");
            queue->Submit([] {}, "from there", 0);
        }).join();
        journal.Append(StepEndEntry());
        runtime_.RunUntil(2000);
        using Phase = TaskEntry::Phase;
        for (const uint64_t id : {1001, 1002, 1003}) {
            journal.Append(TaskEntry{id, Phase::SUBMITTED, "twice", std::to_string(id), 0});
        }
        journal.Append(TaskEntry{1001, Phase::BEGUN, "twice", "1001", 0});
        journal.Append(TaskEntry{1002, Phase::BEGUN, "twice", "1002", 0});
        journal.Append(FileWriteEntry{"/dev/iolimit/iocontrol/iolimit.offon", "1"});
        journal.Append(TaskEntry{1001, Phase::ENDED, "twice", "1001", 0});
        journal.Append(TaskEntry{1003, Phase::BEGUN, "twice", "1003", 0});
        journal.Append(TaskEntry{1002, Phase::ENDED, "twice", "1002", 0});
        journal.Append(PluginStep{true});
    });
    EXPECT_EQ(timeline.Find("left open").track, "Queue queue");
    EXPECT_EQ(timeline.Find("of another thread").track, "Other threads");
    EXPECT_EQ(timeline.Find("submit from there").track, "Other threads");
    EXPECT_EQ(timeline.Find("write iolimit.offon").track, "Other threads");
    EXPECT_EQ(timeline.Tracks("Queue twice"), 2u);
    EXPECT_EQ(timeline.Slices("Queue queue").size(), 4u);
    EXPECT_EQ(timeline.Slices("Limit iocontrol").size(), 1u);
    EXPECT_EQ(timeline.Slices("Steps").size(), 2u);
}

}  // namespace
}  // namespace ZYRA::Host
