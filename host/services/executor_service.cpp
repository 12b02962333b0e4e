// SPDX-License-Identifier: Apache-2.0
#include "host/services/executor_service.h"

#include <charconv>
#include <optional>
#include <utility>
#include <vector>

#include "host/runtime/errno_names.h"
#include "host/runtime/journal.h"
#include "host/services/executor_requests.h"
#include "platform/executor_client.h"
#include "platform/log.h"

namespace ZYRA {

namespace Host {

namespace {

constexpr char LIMIT_FILES[] = "/dev/iolimit/";

constexpr int32_t EXECUTOR_QOS = 5;
constexpr int32_t REQUEST_FAILED = -1;
constexpr LogLabel EXECUTOR_LABEL = {0xD000102, "Executor"};

// The executor of the device, and the calls that are in it now.
Mutex currentMutex;
ConditionVariable currentIdle;
ExecutorService* currentExecutor GUARDED_BY(currentMutex) = nullptr;
size_t currentCalls GUARDED_BY(currentMutex) = 0;

// One call into the current executor, which stays while it lasts.
class ExecutorCall {
public:
    ExecutorCall() {
        MutexLock lock(currentMutex);
        executor_ = currentExecutor;
        currentCalls += executor_ == nullptr ? 0 : 1;
    }
    ~ExecutorCall() {
        MutexLock lock(currentMutex);
        currentCalls -= executor_ == nullptr ? 0 : 1;
        currentIdle.NotifyAll();
    }
    ExecutorCall(const ExecutorCall&) = delete;
    ExecutorCall& operator=(const ExecutorCall&) = delete;

    // Null while there is none.
    ExecutorService* Executor() const { return executor_; }

private:
    ExecutorService* executor_ = nullptr;
};

void Refuse(uint32_t resType, int64_t value, const std::string& reason) {
    ZYRA_LOG(LogLevel::ERROR, EXECUTOR_LABEL, "refused a request of type %{public}u value %{public}ld: %{public}s",
             resType, value, reason.c_str());
    Journal::GetInstance().Append(RefusedEntry{resType, value, reason});
}

void NoteRequest(bool sync, uint32_t resType, int64_t value, const nlohmann::json& payload) {
    if (Journal& journal = Journal::GetInstance(); journal.HasSinks()) {
        journal.Append(RequestEntry{sync, resType, value, payload});
    }
}

std::string FileRefusal(const std::string& path, int error) {
    return error == 0 ? "" : path + ": " + ErrnoName(error);
}

}  // namespace

ExecutorService::ExecutorService(PrereadPort& port)
    : port_(port), limitFiles_(LIMIT_FILES), queue_(TaskQueue::Create("executor", EXECUTOR_QOS)) {
    MutexLock lock(currentMutex);
    currentExecutor = this;
}

ExecutorService::~ExecutorService() {
    currentMutex.lock();
    currentExecutor = nullptr;
    while (currentCalls != 0) {
        currentIdle.Wait(currentMutex);
    }
    currentMutex.unlock();
    queue_->Close();
}

void ExecutorService::SendAsync(uint32_t resType, int64_t value, nlohmann::json payload) {
    {
        MutexLock lock(pendingMutex_);
        pending_.push_back({resType, value, std::move(payload)});
    }
    // It may be carried out before its turn on the queue, by a request that is waited for.
    queue_->Submit(
        [this] {
            MutexLock lock(workMutex_);
            CarryNext();
        },
        "executor", 0);
}

int32_t ExecutorService::SendSync(uint32_t resType, int64_t value, const nlohmann::json& payload,
                                  nlohmann::json& reply) {
    MutexLock lock(workMutex_);
    while (CarryNext()) {
    }
    reply = nlohmann::json();
    const bool isKnown = resType == QUERY_RESOURCE && value == READ_FILE;
    const std::string refusal = isKnown ? ReadFile(payload, reply) : "unknown request";
    if (!refusal.empty()) {
        Refuse(resType, value, refusal);
        return REQUEST_FAILED;
    }
    return 0;
}

bool ExecutorService::CarryNext() {
    std::optional<Request> next;
    {
        MutexLock lock(pendingMutex_);
        if (pending_.empty()) {
            return false;
        }
        next = std::move(pending_.front());
        pending_.pop_front();
    }
    if (const std::string refusal = Carry(*next); !refusal.empty()) {
        Refuse(next->resType, next->value, refusal);
    }
    return true;
}

std::string ExecutorService::Carry(const Request& request) {
    if (request.resType == EXTENSION_RESOURCE && request.value == PREREAD_RECORD) {
        return Preread(request.payload);
    }
    if (request.resType == EXTENSION_RESOURCE && request.value == SET_CACHE_CONFIG) {
        return "";
    }
    if (request.resType == EXTENSION_RESOURCE && request.value == WRITE_FILE) {
        return WriteFile(request.payload);
    }
    return "unknown request";
}

std::string ExecutorService::Preread(const nlohmann::json& payload) {
    const std::string* index = TextMember(payload, "index");
    int monitor = -1;
    if (index != nullptr) {
        const char* end = index->data() + index->size();
        const auto [stop, error] = std::from_chars(index->data(), end, monitor);
        if (error == std::errc() && stop == end) {
            port_.Preread(monitor);
            return "";
        }
    }
    return "no monitor index";
}

std::string ExecutorService::WriteFile(const nlohmann::json& payload) {
    const std::string* path = TextMember(payload, "filePath");
    const std::string* content = TextMember(payload, "content");
    // Nothing cannot be written: the call would not reach the file.
    if (path == nullptr || content == nullptr || content->empty()) {
        return "no file path or no content";
    }
    return FileRefusal(*path, limitFiles_.Write(*path, *content));
}

std::string ExecutorService::ReadFile(const nlohmann::json& payload, nlohmann::json& reply) {
    const std::string* path = TextMember(payload, "filePath");
    if (path == nullptr) {
        return "no file path";
    }
    std::vector<std::string> lines;
    const int error = limitFiles_.ReadLines(*path, lines);
    if (error == 0) {
        reply = {{"list", std::move(lines)}};
    }
    return FileRefusal(*path, error);
}

}  // namespace Host

namespace ResourceSchedule {

ExecutorClient& ExecutorClient::GetInstance() {
    static ExecutorClient client;
    return client;
}

void ExecutorClient::SendRequestAsync(uint32_t resType, int64_t value, const nlohmann::json& payload) {
    Host::NoteRequest(false, resType, value, payload);
    const Host::ExecutorCall call;
    if (call.Executor() != nullptr) {
        call.Executor()->SendAsync(resType, value, payload);
    }
}

int32_t ExecutorClient::SendRequestSync(uint32_t resType, int64_t value, const nlohmann::json& payload,
                                        nlohmann::json& reply) {
    Host::NoteRequest(true, resType, value, payload);
    const Host::ExecutorCall call;
    if (call.Executor() == nullptr) {
        reply = nlohmann::json();
        return Host::REQUEST_FAILED;
    }
    return call.Executor()->SendSync(resType, value, payload, reply);
}

}  // namespace ResourceSchedule

}  // namespace ZYRA
