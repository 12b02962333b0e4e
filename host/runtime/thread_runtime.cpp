#include "host/runtime/thread_runtime.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <map>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/mutex.h"

namespace ZYRA::Host {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr size_t THREAD_NAME_MAX = 15;  // The kernel's limit, without the closing zero.

// What a queue and its thread share; it outlives whichever of the two goes first.
class Worker {
public:
    explicit Worker(std::string name, int32_t qos) : name_(std::move(name)), qos_(qos) {}

    TaskHandle Submit(std::function<void()>& task, uint64_t delayUs) EXCLUDES(mutex_);
    bool Cancel(const TaskHandle& handle) EXCLUDES(mutex_);
    void Run() EXCLUDES(mutex_);

    // Discards what waits and lets the thread end once its task has.
    void Discard() EXCLUDES(mutex_);
    void WaitWhileRunning() EXCLUDES(mutex_);
    bool IsRunning() EXCLUDES(mutex_);
    bool HasEnded() EXCLUDES(mutex_);

private:
    struct Entry {
        SteadyClock::time_point due;  // The beginning of time when no task was delayed then.
        uint64_t sequence;
        std::function<void()> task;  // Empty once it has been cancelled.
    };
    using DelayedKey = std::pair<SteadyClock::time_point, uint64_t>;

    bool TakeDueWLocked(std::function<void()>& task) REQUIRES(mutex_);
    void SkipCancelledWLocked() REQUIRES(mutex_);
    // Until something is due or has been submitted, or for no reason.
    void SleepWLocked() REQUIRES(mutex_);

    const std::string name_;
    const int32_t qos_;

    Mutex mutex_;
    ConditionVariable wake_;
    ConditionVariable idle_;
    uint64_t lastSequence_ GUARDED_BY(mutex_) = 0;
    // Tasks without a delay, in the order of submission and so of running.
    std::deque<Entry> immediate_ GUARDED_BY(mutex_);
    std::map<DelayedKey, std::function<void()>> delayed_ GUARDED_BY(mutex_);
    std::map<uint64_t, SteadyClock::time_point> delayedDue_ GUARDED_BY(mutex_);
    bool sleeping_ GUARDED_BY(mutex_) = false;  // Until somebody has waked the thread.
    bool closed_ GUARDED_BY(mutex_) = false;
    bool running_ GUARDED_BY(mutex_) = false;
    bool ended_ GUARDED_BY(mutex_) = false;
};

TaskHandle Worker::Submit(std::function<void()>& task, uint64_t delayUs) {
    MutexLock lock(mutex_);
    if (closed_) {
        return TaskHandle();
    }
    const uint64_t sequence = ++lastSequence_;
    if (delayUs == 0) {
        // Where nothing is delayed, whatever will be is due later.
        const auto due = delayed_.empty() ? SteadyClock::time_point() : SteadyClock::now();
        immediate_.push_back({due, sequence, std::move(task)});
    } else {
        const auto due = SteadyClock::now() + std::chrono::microseconds(std::min(delayUs, LONGEST_DELAY_US));
        delayed_.emplace(DelayedKey(due, sequence), std::move(task));
        delayedDue_.emplace(sequence, due);
    }
    if (std::exchange(sleeping_, false)) {
        wake_.NotifyOne();
    }
    return TaskHandle(sequence);
}

bool Worker::Cancel(const TaskHandle& handle) {
    std::function<void()> cancelled;  // Destroyed after the lock is released.
    MutexLock lock(mutex_);
    const auto due = delayedDue_.find(handle.Id());
    if (due != delayedDue_.end()) {
        const auto entry = delayed_.find(DelayedKey(due->second, handle.Id()));
        cancelled = std::move(entry->second);
        delayed_.erase(entry);
        delayedDue_.erase(due);
        return true;
    }
    const auto entry = std::lower_bound(immediate_.begin(), immediate_.end(), handle.Id(),
                                        [](const Entry& e, uint64_t sequence) { return e.sequence < sequence; });
    if (entry == immediate_.end() || entry->sequence != handle.Id() || entry->task == nullptr) {
        return false;
    }
    cancelled.swap(entry->task);
    return true;
}

void Worker::SkipCancelledWLocked() {
    while (!immediate_.empty() && immediate_.front().task == nullptr) {
        immediate_.pop_front();
    }
}

bool Worker::TakeDueWLocked(std::function<void()>& task) {
    SkipCancelledWLocked();
    if (!delayed_.empty()) {
        const auto first = delayed_.begin();
        const bool isBeforeImmediate =
            immediate_.empty() || first->first < DelayedKey(immediate_.front().due, immediate_.front().sequence);
        if (isBeforeImmediate && first->first.first <= SteadyClock::now()) {
            task = std::move(first->second);
            delayedDue_.erase(first->first.second);
            delayed_.erase(first);
            return true;
        }
    }
    if (immediate_.empty()) {
        return false;
    }
    task = std::move(immediate_.front().task);
    immediate_.pop_front();
    return true;
}

void Worker::Run() {
    pthread_setname_np(pthread_self(), name_.substr(0, THREAD_NAME_MAX).c_str());
    // A lower quality of service gives way; that much is allowed to every process. Failing is harmless.
    constexpr int32_t HIGHEST_QOS = 5;
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), HIGHEST_QOS - qos_);

    std::function<void()> task;
    mutex_.lock();
    while (!closed_) {
        if (TakeDueWLocked(task)) {
            running_ = true;
            mutex_.unlock();
            task();
            task = nullptr;
            mutex_.lock();
            running_ = false;
        } else {
            SleepWLocked();
        }
    }
    ended_ = true;
    idle_.NotifyAll();
    mutex_.unlock();
}

void Worker::SleepWLocked() {
    sleeping_ = true;
    if (delayed_.empty()) {
        wake_.Wait(mutex_);
    } else {
        const auto due = delayed_.begin()->first.first;
        wake_.WaitUntil(mutex_, due);
    }
    sleeping_ = false;
}

void Worker::Discard() {
    std::deque<Entry> immediate;
    std::map<DelayedKey, std::function<void()>> delayed;
    MutexLock lock(mutex_);
    closed_ = true;
    immediate.swap(immediate_);
    delayed.swap(delayed_);
    delayedDue_.clear();
    wake_.NotifyOne();
}

void Worker::WaitWhileRunning() {
    mutex_.lock();
    while (running_) {
        idle_.Wait(mutex_);
    }
    mutex_.unlock();
}

bool Worker::IsRunning() {
    MutexLock lock(mutex_);
    return running_;
}

bool Worker::HasEnded() {
    MutexLock lock(mutex_);
    return ended_;
}

}  // namespace

// The threads of queues that are gone while their last task still ran.
class ThreadRuntime::Retired {
public:
    void Add(std::shared_ptr<Worker> worker, std::thread thread) {
        MutexLock lock(mutex_);
        threads_.push_back({std::move(worker), std::move(thread)});
    }

    // Joins the threads that have ended, or all of them; never the calling one.
    void Join(bool all) {
        std::vector<Entry> joinable;
        {
            MutexLock lock(mutex_);
            for (auto entry = threads_.begin(); entry != threads_.end();) {
                const bool isSelf = entry->thread.get_id() == std::this_thread::get_id();
                if (!isSelf && (all || entry->worker->HasEnded())) {
                    joinable.push_back(std::move(*entry));
                    entry = threads_.erase(entry);
                } else {
                    ++entry;
                }
            }
        }
        for (Entry& entry : joinable) {
            entry.thread.join();
        }
    }

private:
    struct Entry {
        std::shared_ptr<Worker> worker;
        std::thread thread;
    };

    Mutex mutex_;
    std::vector<Entry> threads_ GUARDED_BY(mutex_);
};

namespace {

class ThreadQueue final : public TaskQueue {
public:
    ThreadQueue(std::shared_ptr<Worker> worker, std::thread thread, std::shared_ptr<ThreadRuntime::Retired> retired)
        : worker_(std::move(worker)), thread_(std::move(thread)), retired_(std::move(retired)) {}

    ~ThreadQueue() override {
        worker_->Discard();
        if (IsOwnThread() || worker_->IsRunning()) {
            retired_->Add(worker_, std::move(thread_));
        } else {
            thread_.join();
        }
    }

    void Submit(std::function<void()> task, std::string_view /*name*/, uint64_t delayUs) override {
        worker_->Submit(task, delayUs);
    }

    TaskHandle SubmitWithHandle(std::function<void()> task, std::string_view /*name*/, uint64_t delayUs) override {
        return worker_->Submit(task, delayUs);
    }

    bool Cancel(const TaskHandle& handle) override { return worker_->Cancel(handle); }

    void Close() override {
        worker_->Discard();
        if (!IsOwnThread()) {
            worker_->WaitWhileRunning();
        }
    }

private:
    bool IsOwnThread() const { return thread_.get_id() == std::this_thread::get_id(); }

    std::shared_ptr<Worker> worker_;
    std::thread thread_;
    std::shared_ptr<ThreadRuntime::Retired> retired_;
};

}  // namespace

ThreadRuntime::ThreadRuntime() : start_(SteadyClock::now()), retired_(std::make_shared<Retired>()) {}

ThreadRuntime::~ThreadRuntime() {
    retired_->Join(true);
}

std::unique_ptr<TaskQueue> ThreadRuntime::CreateQueue(const std::string& name, int32_t qos) {
    retired_->Join(false);
    try {
        auto worker = std::make_shared<Worker>(name, qos);
        std::thread thread([worker] { worker->Run(); });
        return std::make_unique<ThreadQueue>(std::move(worker), std::move(thread), retired_);
    } catch (const std::system_error&) {
        return nullptr;  // No thread to be had.
    }
}

int64_t ThreadRuntime::ElapsedUs() const {
    return std::chrono::duration_cast<std::chrono::microseconds>(SteadyClock::now() - start_).count();
}

int64_t ThreadRuntime::WallClockUs() const {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count();
}

void ThreadRuntime::PassTime(int64_t us) {
    std::this_thread::sleep_for(std::chrono::microseconds(us));
}

void ThreadRuntime::JoinRetired() {
    retired_->Join(true);
}

}  // namespace ZYRA::Host
