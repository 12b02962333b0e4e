// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/mutex.h"
#include "platform/res_data.h"
#include "platform/task_queue.h"

namespace ZYRA::ResourceSchedule {

class ExactPrereadExecutor;
class IOSchedEventHandler;

// Owns the plugin's two queues, the main one through the event handler, and stands between them and everyone else.
//
// Locks, outermost first: lifeCycleMutex_, mutex_, taskMutex, the event handler's own. Tasks take mutex_ and what is
// below it but never lifeCycleMutex_, which alone is held while Deinit waits for the tasks that still run.
class IOSchedManager {
public:
    class IOSchedEventCallbackImpl;

    static IOSchedManager& GetInstance();

    IOSchedManager(const IOSchedManager&) = delete;
    IOSchedManager& operator=(const IOSchedManager&) = delete;

    // Starts the queues and posts the start-up events. On failure, which is logged, everything is released again.
    // REQUIRES (both): not on one of the plugin's queues, because Deinit waits for the tasks that run on them.
    void Init() EXCLUDES(lifeCycleMutex_, mutex_);
    // Stops them. Once it has returned no task of the plugin runs any more.
    void Deinit() EXCLUDES(lifeCycleMutex_, mutex_);

    // Queues the event on the main queue. Any thread; the event is dropped while the plugin is disabled.
    void DispatchResource(const std::shared_ptr<ResData>& data) EXCLUDES(mutex_);

    // Posts a task on the background queue; several may be pending under one name. Any thread; dropped while the plugin
    // is disabled.
    void PostTaskToAsyncThrd(std::function<void()> task, const std::string& name, uint64_t delayMs) EXCLUDES(mutex_);
    // Cancels the pending tasks of that name, the latest first. Any thread.
    void RemoveTaskOnAsyncThrd(const std::string& name) EXCLUDES(mutex_);

    // Posts a task on the main queue, without a way to cancel it; drops it when there is no such queue.
    void PostEventTaskWLocked(std::function<void()> task, uint64_t delayUs) REQUIRES(mutex_);

    // Registers for the device's shutdown, or posts another try. `locked` says that the caller holds the main lock, as
    // Init does; otherwise the lock is taken, and nothing is registered any more once the plugin has been disabled.
    void RegisterShutdownCallbackWLocked(bool locked);

    // Serves the host's dump command; text is appended to `result`. Any thread.
    void Dump(const std::vector<std::string>& args, std::string& result) EXCLUDES(mutex_);

private:
    // Reaches every object that the queues' tasks use, so that those are destroyed after this one.
    IOSchedManager();
    // Stops the plugin if it was not disabled.
    ~IOSchedManager();

    bool IsInited() EXCLUDES(mutex_);
    void InitWLocked() REQUIRES(mutex_);
    bool RegisterIOSchedEventCallback() REQUIRES(mutex_);
    // Releases everything that Init has made so far, and waits for the tasks that run.
    void Release() REQUIRES(lifeCycleMutex_) EXCLUDES(mutex_);

    Mutex lifeCycleMutex_ ACQUIRED_BEFORE(mutex_);
    Mutex mutex_;
    Mutex taskMutex ACQUIRED_AFTER(mutex_);

    std::shared_ptr<IOSchedEventHandler> eventHandler_ GUARDED_BY(mutex_);
    std::unique_ptr<TaskQueue> taskQueue_ GUARDED_BY(mutex_);
    // Every handle submitted under a name, oldest first, those of finished tasks included.
    std::unordered_map<std::string, std::vector<TaskHandle>> namedTaskHandles GUARDED_BY(taskMutex);
    std::shared_ptr<ExactPrereadExecutor> exactPrereadExecutor_ GUARDED_BY(mutex_);
    std::shared_ptr<IOSchedEventCallbackImpl> eventCallback_ GUARDED_BY(mutex_);
    bool isInited GUARDED_BY(mutex_) = false;
};

}  // namespace ZYRA::ResourceSchedule
