// SPDX-License-Identifier: Apache-2.0
#include "host/runtime/thread_runtime.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <iterator>
#include <map>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/mutex.h"

namespace ZYRA::Host {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr size_t CACHE_LINE = 64;
constexpr size_t THREAD_NAME_MAX = 15;  // The kernel's limit, without the closing zero.

// What a queue and its thread share; it outlives whichever of the two goes first.
class Worker : public std::enable_shared_from_this<Worker> {
public:
    explicit Worker(std::string name, int32_t qos) : name_(std::move(name)), qos_(qos) {}

    void Submit(std::function<void()>& task, uint64_t delayUs) EXCLUDES(mutex_);
    TaskHandle SubmitWithHandle(std::function<void()>& task, uint64_t delayUs) EXCLUDES(mutex_);
    bool Cancel(const TaskHandle& handle) EXCLUDES(mutex_);
    void Run() EXCLUDES(mutex_);

    // Discards what waits and lets the thread end once its task has.
    void Discard() EXCLUDES(mutex_);
    void WaitWhileRunning() EXCLUDES(mutex_);
    bool IsRunning() EXCLUDES(mutex_);
    bool HasEnded() EXCLUDES(mutex_);

private:
    // Due time, then order of submission.
    using Key = std::pair<SteadyClock::time_point, uint64_t>;

    struct Entry {
        Key key;  // The beginning of time when nothing else was timed then.
        std::function<void()> task;
    };

    TaskHandle AddTimedWLocked(std::function<void()>& task, uint64_t delayUs) REQUIRES(mutex_);
    // What is to be waked once the lock has been released, for which the thread would only wait. It is held: the task
    // may be done by then, and the queue be gone.
    std::shared_ptr<Worker> SleeperWLocked() REQUIRES(mutex_);
    static void Wake(const std::shared_ptr<Worker>& sleeper);
    // Takes what is to run next, as much as can run without another look at the queue. Returns false when nothing is
    // due.
    bool TakeDueWLocked(std::deque<Entry>& batch) REQUIRES(mutex_);
    // Until something is due or has been submitted, or for no reason.
    void SleepWLocked() REQUIRES(mutex_);
    void RunBatch(std::deque<Entry>& batch) const EXCLUDES(mutex_);

    const std::string name_;
    const int32_t qos_;

    Mutex mutex_;
    ConditionVariable wake_;
    ConditionVariable idle_;
    uint64_t lastSequence_ GUARDED_BY(mutex_) = 0;
    // What came without a delay and cannot be cancelled, in the order of submission and so of running.
    std::deque<Entry> plain_ GUARDED_BY(mutex_);
    // The others.
    std::map<Key, std::function<void()>> timed_ GUARDED_BY(mutex_);
    std::map<uint64_t, SteadyClock::time_point> timedDue_ GUARDED_BY(mutex_);
    bool sleeping_ GUARDED_BY(mutex_) = false;  // Until somebody has waked the thread.
    bool running_ GUARDED_BY(mutex_) = false;   // What has been taken.
    bool ended_ GUARDED_BY(mutex_) = false;
    // Written under the mutex. The thread looks at it before each task: what a submission changes is elsewhere.
    alignas(CACHE_LINE) std::atomic<bool> closed_{false};
};

void Worker::Submit(std::function<void()>& task, uint64_t delayUs) {
    std::shared_ptr<Worker> sleeper;
    {
        MutexLock lock(mutex_);
        if (closed_) {
            return;
        }
        if (delayUs != 0) {
            AddTimedWLocked(task, delayUs);
        } else {
            // Where nothing is timed, whatever will be is due later.
            const auto due = timed_.empty() ? SteadyClock::time_point() : SteadyClock::now();
            plain_.push_back({Key(due, ++lastSequence_), std::move(task)});
        }
        sleeper = SleeperWLocked();
    }
    Wake(sleeper);
}

TaskHandle Worker::SubmitWithHandle(std::function<void()>& task, uint64_t delayUs) {
    TaskHandle handle;
    std::shared_ptr<Worker> sleeper;
    {
        MutexLock lock(mutex_);
        if (closed_) {
            return handle;
        }
        handle = AddTimedWLocked(task, delayUs);
        sleeper = SleeperWLocked();
    }
    Wake(sleeper);
    return handle;
}

TaskHandle Worker::AddTimedWLocked(std::function<void()>& task, uint64_t delayUs) {
    const uint64_t sequence = ++lastSequence_;
    const auto due = SteadyClock::now() + std::chrono::microseconds(std::min(delayUs, LONGEST_DELAY_US));
    timed_.emplace(Key(due, sequence), std::move(task));
    timedDue_.emplace(sequence, due);
    return TaskHandle(sequence);
}

std::shared_ptr<Worker> Worker::SleeperWLocked() {
    return std::exchange(sleeping_, false) ? shared_from_this() : nullptr;
}

void Worker::Wake(const std::shared_ptr<Worker>& sleeper) {
    if (sleeper != nullptr) {
        sleeper->wake_.NotifyOne();
    }
}

bool Worker::Cancel(const TaskHandle& handle) {
    std::function<void()> cancelled;  // Destroyed after the lock is released.
    MutexLock lock(mutex_);
    const auto due = timedDue_.find(handle.Id());
    if (due == timedDue_.end()) {
        return false;
    }
    const auto entry = timed_.find(Key(due->second, handle.Id()));
    cancelled = std::move(entry->second);
    timed_.erase(entry);
    timedDue_.erase(due);
    return true;
}

bool Worker::TakeDueWLocked(std::deque<Entry>& batch) {
    if (timed_.empty()) {
        batch.swap(plain_);
        return !batch.empty();
    }
    const auto first = timed_.begin();
    if (plain_.empty() || first->first < plain_.front().key) {
        if (first->first.first > SteadyClock::now()) {
            return false;
        }
        batch.push_back({first->first, std::move(first->second)});
        timedDue_.erase(first->first.second);
        timed_.erase(first);
        return true;
    }
    // What is submitted from now on is due later than what is there without a delay.
    if (plain_.back().key < first->first) {
        batch.swap(plain_);
        return true;
    }
    const auto end =
        std::find_if(plain_.begin(), plain_.end(), [&first](const Entry& entry) { return first->first < entry.key; });
    std::move(plain_.begin(), end, std::back_inserter(batch));
    plain_.erase(plain_.begin(), end);
    return true;
}

void Worker::Run() {
    pthread_setname_np(pthread_self(), name_.substr(0, THREAD_NAME_MAX).c_str());
    // A lower quality of service gives way; that much is allowed to every process. Failing is harmless.
    constexpr int32_t HIGHEST_QOS = 5;
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), HIGHEST_QOS - qos_);

    std::deque<Entry> batch;
    bool looksAgain = false;
    mutex_.lock();
    while (!closed_) {
        if (TakeDueWLocked(batch)) {
            running_ = true;
            mutex_.unlock();
            RunBatch(batch);
            mutex_.lock();
            running_ = false;
            looksAgain = true;
        } else if (std::exchange(looksAgain, false)) {
            // Events come in rows, and to be waked costs whoever sends the next one more than this.
            mutex_.unlock();
            std::this_thread::yield();
            mutex_.lock();
        } else {
            SleepWLocked();
        }
    }
    ended_ = true;
    idle_.NotifyAll();
    mutex_.unlock();
}

// The rest of it is discarded once the queue is closed.
void Worker::RunBatch(std::deque<Entry>& batch) const {
    for (Entry& entry : batch) {
        if (closed_.load(std::memory_order_acquire)) {
            break;
        }
        entry.task();
        entry.task = nullptr;
    }
    batch.clear();
}

void Worker::SleepWLocked() {
    sleeping_ = true;
    if (timed_.empty()) {
        wake_.Wait(mutex_);
    } else {
        const auto due = timed_.begin()->first.first;
        wake_.WaitUntil(mutex_, due);
    }
    sleeping_ = false;
}

void Worker::Discard() {
    std::deque<Entry> plain;
    std::map<Key, std::function<void()>> timed;
    MutexLock lock(mutex_);
    closed_.store(true, std::memory_order_release);
    plain.swap(plain_);
    timed.swap(timed_);
    timedDue_.clear();
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
        return worker_->SubmitWithHandle(task, delayUs);
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
