// SPDX-License-Identifier: Apache-2.0
#include "frame/io_sched_manager.h"

#include <new>
#include <utility>

#include "exact_preread/exact_preread.h"
#include "exact_preread/exact_preread_executor.h"
#include "frame/common/io_sched_event_id.h"
#include "frame/common/io_sched_event_util.h"
#include "frame/common/io_sched_log.h"
#include "frame/guarded_run.h"
#include "frame/io_sched_event_callback_impl.h"
#include "frame/io_sched_event_handler.h"
#include "frame/power_mgr_util.h"
#include "frame/resource_type.h"
#include "io_limit/io_limit_handler.h"
#include "platform/delayed_singleton.h"
#include "top_scene/top_scene_manager.h"
#include "top_scene/top_scene_manager_rt.h"

namespace ZYRA::ResourceSchedule {

namespace {

const std::string TASK_QUEUE_NAME = "iosched_task_th";
constexpr int32_t TASK_QUEUE_QOS = 3;
constexpr uint64_t DEFERRED_START_DELAY_US = 3000000;
constexpr uint64_t US_PER_MS = 1000;

constexpr char DUMP_HELP[] =
    "        plugin name : libio_sched_plugin.z.so \n"
    "                   -h: show the libio_sched_plugin help.\n"
    "                   -s: send cust protect_lru config.\n"
    "                   -dfx: report exact_preread statistic.\n";

}  // namespace

IOSchedManager& IOSchedManager::GetInstance() {
    static IOSchedManager instance;
    return instance;
}

// Static objects are destroyed in the reverse order of their completion. Left to themselves the features would be
// created after the manager, by tasks, and be gone before its destructor has ended those tasks.
IOSchedManager::IOSchedManager() {
    IOSchedEventUtil::GetInstance();
    TopSceneManagerRt::GetInstance();
    TopSceneManager::GetInstance();
    ExactPreread::GetInstance();
    IolimitHandler::GetInstance();
}

// The host disables the plugin before it unloads it; then there is nothing to do here and nothing is logged. Should it
// not have, the shutdown callback and the queues are taken back as well as they can be. That cannot replace the
// disabling: the queues' threads end while the loader holds its lock, and a shutdown may be under way on a thread of
// the platform.
IOSchedManager::~IOSchedManager() {
    RunGuarded("~IOSchedManager", [this]() {
        MutexLock lifeCycle(lifeCycleMutex_);
        if (IsInited()) {
            Release();
        }
    });
}

void IOSchedManager::Init() {
    MutexLock lifeCycle(lifeCycleMutex_);
    try {
        MutexLock lock(mutex_);
        InitWLocked();
    } catch (...) {
        Release();
        throw;
    }
}

void IOSchedManager::InitWLocked() {
    constexpr char INIT[] = "Init";
    if (isInited) {
        IOSCHED_LOGI_AS(INIT, "IOSchedManager has already been Inited.");
        return;
    }
    // The failures below come before the first task, so that nothing is waited for when they release the queues.
    eventHandler_ = std::shared_ptr<IOSchedEventHandler>(new (std::nothrow) IOSchedEventHandler());
    if (eventHandler_ == nullptr) {
        IOSCHED_LOGE_AS(INIT, "failed to create eventHandler.");
        return;
    }
    taskQueue_ = TaskQueue::Create(TASK_QUEUE_NAME, TASK_QUEUE_QOS);
    if (taskQueue_ == nullptr) {
        eventHandler_.reset();
        IOSCHED_LOGE_AS(INIT, "failed to create veloQueue.");
        return;
    }
    exactPrereadExecutor_ = DelayedSingleton<ExactPrereadExecutor>::GetInstance();
    if (!RegisterIOSchedEventCallback()) {
        exactPrereadExecutor_.reset();
        eventCallback_.reset();
        taskQueue_.reset();
        eventHandler_.reset();
        IOSCHED_LOGE_AS(INIT, "failed to register IOSchedEventCallback.");
        return;
    }
    eventHandler_->ProcessIOSchedEvent(IOSCHED_EVENT_HANDLER_START, 0);
    eventHandler_->ProcessIOSchedEvent(IOSCHED_EVENT_DEFERRED_START, DEFERRED_START_DELAY_US);
    RegisterShutdownCallbackWLocked(true);
    isInited = true;
    IOSCHED_LOGI_AS(INIT, "IOSchedManager Init success.");
}

void IOSchedManager::Deinit() {
    MutexLock lifeCycle(lifeCycleMutex_);
    if (!IsInited()) {
        IOSCHED_LOGI("IOSchedManager has already been Deinited.");
        return;
    }
    Release();
    IOSCHED_LOGI("IOSchedManager Deinit success.");
}

void IOSchedManager::Release() {
    std::unique_ptr<TaskQueue> taskQueue;
    std::shared_ptr<IOSchedEventHandler> eventHandler;
    {
        MutexLock lock(mutex_);
        IOSchedEventUtil::GetInstance().UnregisterIOSchedEventCallback();
        RunGuarded("UnRegisterShutdownCallback", PowerMgrUtil::UnRegisterShutdownCallback);
        isInited = false;
        eventCallback_.reset();
        exactPrereadExecutor_.reset();
        taskQueue = std::move(taskQueue_);
        eventHandler = std::move(eventHandler_);
    }
    // The tasks that still run may want the main lock: it has been released, and they find the manager not inited.
    if (taskQueue != nullptr) {
        taskQueue->Close();
        taskQueue.reset();
    }
    eventHandler.reset();

    MutexLock lock(taskMutex);
    namedTaskHandles.clear();
}

bool IOSchedManager::IsInited() {
    MutexLock lock(mutex_);
    return isInited;
}

void IOSchedManager::DispatchResource(const std::shared_ptr<ResData>& data) {
    if (data == nullptr) {
        return;
    }
    // Most of the work is this copy: other senders need not wait for it.
    nlohmann::json payload = data->payload;
    MutexLock lock(mutex_);
    if (isInited) {
        eventHandler_->ProcessResTypeEvent(data->resType, data->value, std::move(payload));
    }
}

void IOSchedManager::PostTaskToAsyncThrd(std::function<void()> task, const std::string& name, uint64_t delayMs) {
    MutexLock lock(mutex_);
    if (!isInited) {
        return;
    }
    MutexLock taskLock(taskMutex);
    std::vector<TaskHandle>& handles = namedTaskHandles[name];
    // Room first: a task that has been submitted can only be cancelled through its handle.
    handles.emplace_back();
    handles.back() = taskQueue_->SubmitWithHandle([task = std::move(task)] { RunGuarded("PostTaskToAsyncThrd", task); },
                                                  "PostTaskToAsyncThrd", delayMs * US_PER_MS);
}

void IOSchedManager::RemoveTaskOnAsyncThrd(const std::string& name) {
    MutexLock lock(mutex_);
    if (!isInited) {
        return;
    }
    MutexLock taskLock(taskMutex);
    const auto named = namedTaskHandles.find(name);
    if (named == namedTaskHandles.end()) {
        return;
    }
    for (auto handle = named->second.rbegin(); handle != named->second.rend(); ++handle) {
        taskQueue_->Cancel(*handle);
    }
    namedTaskHandles.erase(named);
}

void IOSchedManager::PostEventTaskWLocked(std::function<void()> task, uint64_t delayUs) {
    if (eventHandler_ != nullptr) {
        eventHandler_->PostTaskThrd(std::move(task), delayUs);
    }
}

bool IOSchedManager::RegisterIOSchedEventCallback() {
    if (eventCallback_ == nullptr) {
        eventCallback_ = std::make_shared<IOSchedEventCallbackImpl>();
    }
    return IOSchedEventUtil::GetInstance().RegisterIOSchedEventCallback(eventCallback_);
}

void IOSchedManager::RegisterShutdownCallbackWLocked(bool locked) {
    if (locked) {
        PowerMgrUtil::RegisterShutdownCallback();
        return;
    }
    // A retry that waited here for Deinit comes too late: what it registered would never be unregistered.
    MutexLock lock(mutex_);
    if (isInited) {
        PowerMgrUtil::RegisterShutdownCallback();
    }
}

void IOSchedManager::Dump(const std::vector<std::string>& args, std::string& result) {
    if (args.size() != 1) {
        return;
    }
    const std::string& option = args.front();
    std::shared_ptr<ExactPrereadExecutor> executor;
    {
        MutexLock lock(mutex_);
        if (!isInited) {
            return;
        }
        if (option == "-s") {
            eventHandler_->ProcessResTypeEvent(RES_TYPE_CUST_CONFIG, 0, nlohmann::json());
        }
        executor = exactPrereadExecutor_;
    }
    if (option == "-h") {
        result += DUMP_HELP;
    } else if (option == "-s") {
        result += "test protect_lru SetCacheFile";
    } else if (option == "-dfx") {
        // Works on the kernel's files: without the lock, events go on meanwhile.
        executor->ReportExactPrereadDfx();
    }
}

}  // namespace ZYRA::ResourceSchedule
