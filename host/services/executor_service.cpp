#include "host/services/executor_service.h"

#include <charconv>
#include <string>

#include "host/runtime/journal.h"
#include "platform/executor_client.h"
#include "platform/mutex.h"

namespace ZYRA {

namespace Host {

namespace {

constexpr uint32_t EXTENSION_RESOURCE = 8;
constexpr int64_t PREREAD_RECORD = 0;
constexpr int64_t SET_CACHE_CONFIG = 1;
constexpr int32_t EXECUTOR_QOS = 5;
constexpr int32_t REQUEST_FAILED = -1;
constexpr LogLabel EXECUTOR_LABEL = {0xD000102, "Executor"};

// The executor of the device; what is under the lock is only the pointer and the hand-over to its queue.
Mutex currentMutex;
ExecutorService* currentExecutor GUARDED_BY(currentMutex) = nullptr;

bool ParseMonitorIndex(const nlohmann::json& payload, int& monitor) {
    const auto index = payload.is_object() ? payload.find("index") : payload.end();
    if (index == payload.end() || !index->is_string()) {
        return false;
    }
    const auto& text = index->get_ref<const std::string&>();
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), monitor);
    return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

ExecutorService::ExecutorService(PrereadPort& port) : port_(port), queue_(TaskQueue::Create("executor", EXECUTOR_QOS)) {
    MutexLock lock(currentMutex);
    currentExecutor = this;
}

ExecutorService::~ExecutorService() {
    {
        MutexLock lock(currentMutex);
        currentExecutor = nullptr;
    }
    queue_->Close();
}

void ExecutorService::SendAsync(uint32_t resType, int64_t value, nlohmann::json payload) {
    queue_->Submit([this, resType, value, payload = std::move(payload)] { Carry(resType, value, payload); }, "executor",
                   0);
}

void ExecutorService::Carry(uint32_t resType, int64_t value, const nlohmann::json& payload) {
    if (resType == EXTENSION_RESOURCE && value == PREREAD_RECORD) {
        int monitor = -1;
        if (ParseMonitorIndex(payload, monitor)) {
            port_.Preread(monitor);
        } else {
            ZYRA_LOG(LogLevel::ERROR, EXECUTOR_LABEL, "preread request without a monitor index");
        }
        return;
    }
    if (resType == EXTENSION_RESOURCE && value == SET_CACHE_CONFIG) {
        return;  // The virtual device has no such cache; that the request was made is in the journal.
    }
    ZYRA_LOG(LogLevel::ERROR, EXECUTOR_LABEL, "unknown request, type %{public}u value %{public}ld", resType, value);
}

int32_t ExecutorService::SendSync(uint32_t resType, int64_t value, const nlohmann::json& /*payload*/,
                                  nlohmann::json& reply) {
    reply = nlohmann::json();
    ZYRA_LOG(LogLevel::ERROR, EXECUTOR_LABEL, "unknown request, type %{public}u value %{public}ld", resType, value);
    return REQUEST_FAILED;
}

}  // namespace Host

namespace ResourceSchedule {

ExecutorClient& ExecutorClient::GetInstance() {
    static ExecutorClient client;
    return client;
}

void ExecutorClient::SendRequestAsync(uint32_t resType, int64_t value, const nlohmann::json& payload) {
    Host::Journal::GetInstance().Append(Host::RequestEntry{false, resType, value, payload});
    MutexLock lock(Host::currentMutex);
    if (Host::currentExecutor != nullptr) {
        Host::currentExecutor->SendAsync(resType, value, payload);
    }
}

int32_t ExecutorClient::SendRequestSync(uint32_t resType, int64_t value, const nlohmann::json& payload,
                                        nlohmann::json& reply) {
    Host::Journal::GetInstance().Append(Host::RequestEntry{true, resType, value, payload});
    MutexLock lock(Host::currentMutex);
    if (Host::currentExecutor == nullptr) {
        reply = nlohmann::json();
        return Host::REQUEST_FAILED;
    }
    return Host::currentExecutor->SendSync(resType, value, payload, reply);
}

}  // namespace ResourceSchedule

}  // namespace ZYRA
