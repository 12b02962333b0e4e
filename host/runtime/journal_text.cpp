// SPDX-License-Identifier: Apache-2.0
#include <array>

#include "host/runtime/errno_names.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

namespace {

using OrderedJson = nlohmann::ordered_json;

const char* LevelName(LogLevel level) {
    switch (level) {
        case LogLevel::DEBUG:
            return "DEBUG";
        case LogLevel::INFO:
            return "INFO";
        case LogLevel::WARN:
            return "WARN";
        case LogLevel::ERROR:
            return "ERROR";
        case LogLevel::FATAL:
            return "FATAL";
    }
    return "";
}

// Adds the kind and the members of one fact, in the order of the documented line.
class FactWriter {
public:
    explicit FactWriter(OrderedJson& line) : line_(line) {}

    void operator()(const SubscriptionEntry& fact) {
        line_["kind"] = fact.subscribed ? "subscribe" : "unsubscribe";
        line_["type"] = fact.resType;
    }
    void operator()(const LogEntry& fact) {
        line_["kind"] = "log";
        line_["level"] = LevelName(fact.level);
        line_["tag"] = fact.tag;
        line_["text"] = fact.text;
    }
    void operator()(const FileWriteEntry& fact) {
        line_["kind"] = "write";
        line_["path"] = fact.path;
        line_["content"] = fact.content;
        if (fact.error != 0) {
            line_["errno"] = ErrnoName(fact.error);
        }
        if (fact.isShort) {
            line_["short"] = true;
        }
    }
    void operator()(const FaultEntry& fact) {
        line_["kind"] = "fault";
        line_["path"] = fact.path;
        line_["op"] = fact.operation;
        if (fact.error != 0) {
            line_["errno"] = ErrnoName(fact.error);
        }
        if (fact.isShort) {
            line_["short"] = true;
        }
        if (fact.delayUs != 0) {
            line_["delayUs"] = fact.delayUs;
        }
    }
    void operator()(const RequestEntry& fact) {
        line_["kind"] = "request";
        line_["sync"] = fact.sync;
        line_["resType"] = fact.resType;
        line_["value"] = fact.value;
        line_["payload"] = fact.payload;
    }
    void operator()(const RefusedEntry& fact) {
        line_["kind"] = "refused";
        line_["resType"] = fact.resType;
        line_["value"] = fact.value;
        line_["reason"] = fact.reason;
    }
    void operator()(const SysEventEntry& fact) {
        line_["kind"] = "sysevent";
        line_["domain"] = fact.domain;
        line_["name"] = fact.name;
        line_["type"] = fact.type == EventLogType::FAULT ? "FAULT" : "STATISTIC";
        OrderedJson params = OrderedJson::object();
        for (const auto& [key, value] : fact.params) {
            std::visit([&, &name = key](const auto& typed) { params[name] = typed; }, value);
        }
        line_["params"] = std::move(params);
    }
    void operator()(const SpanEntry& fact) {
        line_["kind"] = "span";
        line_["name"] = fact.name;
        line_["phase"] = fact.begin ? "begin" : "end";
    }
    void operator()(const DumpEntry& fact) {
        line_["kind"] = "dump";
        line_["args"] = fact.args;
        line_["result"] = fact.result;
    }
    void operator()(const MonitorEntry& fact) {
        line_["kind"] = "monitor";
        line_["monitor"] = fact.monitor;
        line_["state"] = fact.state;
    }
    void operator()(const BindEntry& fact) {
        line_["kind"] = "bind";
        line_["monitor"] = fact.monitor;
        line_["uid"] = fact.uid;
        line_["pid"] = fact.pid;
        line_["scene"] = fact.scene;
        line_["recordState"] = fact.recordState;
    }
    void operator()(const RecordEntry& fact) {
        line_["kind"] = "record";
        line_["scene"] = fact.scene;
        line_["pages"] = fact.pages;
    }
    void operator()(const PrereadEntry& fact) {
        line_["kind"] = "preread";
        line_["monitor"] = fact.monitor;
        line_["scene"] = fact.scene;
        line_["bytes"] = fact.bytes;
        if (!fact.error.empty()) {
            line_["error"] = fact.error;
        }
    }
    void operator()(const TopSetEntry& fact) {
        line_["kind"] = "topset";
        line_["size"] = fact.size;
        line_["added"] = fact.added;
        line_["removed"] = fact.removed;
    }
    void operator()(const DeviceStep& fact) {
        line_["kind"] = "device";
        line_["patch"] = fact.patch;
    }
    void operator()(const EventStep& fact) {
        line_["kind"] = "event";
        line_["type"] = fact.resType;
        line_["value"] = fact.value;
        line_["payload"] = fact.payload;
    }
    void operator()(const PluginStep& fact) {
        line_["kind"] = "plugin";
        line_["state"] = fact.enable ? "enable" : "disable";
    }
    void operator()(const ShutdownStep& fact) {
        line_["kind"] = "shutdown";
        line_["callbacks"] = fact.callbacks;
    }
    // No lines.
    void operator()(const StepEndEntry& /*fact*/) {}
    void operator()(const TaskEntry& /*fact*/) {}

private:
    OrderedJson& line_;
};

}  // namespace

std::string ToJsonLine(const JournalEntry& entry) {
    OrderedJson line = OrderedJson::object();
    line["t"] = entry.timeUs;
    std::visit(FactWriter(line), entry.fact);
    return line.dump(-1, ' ', false, OrderedJson::error_handler_t::replace);
}

}  // namespace ZYRA::Host
