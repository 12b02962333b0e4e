// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// Clang's thread-safety attributes; other compilers see nothing. The names are those of the analysis' own
// documentation.
#if defined(__clang__)
#define ZYRA_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ZYRA_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(x) ZYRA_THREAD_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY ZYRA_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) ZYRA_THREAD_ATTRIBUTE(guarded_by(x))
#define PT_GUARDED_BY(x) ZYRA_THREAD_ATTRIBUTE(pt_guarded_by(x))
#define ACQUIRED_BEFORE(...) ZYRA_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) ZYRA_THREAD_ATTRIBUTE(acquired_after(__VA_ARGS__))
#define REQUIRES(...) ZYRA_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) ZYRA_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) ZYRA_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) ZYRA_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS ZYRA_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace ZYRA {

// The task runtime's mutex: not recursive, not fair. A task may hold it while it submits to a queue.
class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }

private:
    friend class ConditionVariable;

    std::mutex mutex_;
};

// What threads that hold a Mutex wait for. As with the standard's, a wait may end without a reason.
class ConditionVariable {
public:
    ConditionVariable() = default;
    ConditionVariable(const ConditionVariable&) = delete;
    ConditionVariable& operator=(const ConditionVariable&) = delete;

    void NotifyOne() { condition_.notify_one(); }
    void NotifyAll() { condition_.notify_all(); }

    void Wait(Mutex& mutex) REQUIRES(mutex) {
        Borrowed lock(mutex.mutex_);
        condition_.wait(lock.held);
    }
    template <typename Clock, typename Duration>
    std::cv_status WaitUntil(Mutex& mutex, const std::chrono::time_point<Clock, Duration>& time) REQUIRES(mutex) {
        Borrowed lock(mutex.mutex_);
        return condition_.wait_until(lock.held, time);
    }

private:
    // The caller's lock in the form that the standard's wait takes; it stays the caller's.
    struct Borrowed {
        explicit Borrowed(std::mutex& mutex) : held(mutex, std::adopt_lock) {}
        ~Borrowed() { held.release(); }
        Borrowed(const Borrowed&) = delete;
        Borrowed& operator=(const Borrowed&) = delete;
        std::unique_lock<std::mutex> held;
    };

    std::condition_variable condition_;
};

// Holds a Mutex for the length of a scope.
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() RELEASE() { mutex_.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex_;
};

}  // namespace ZYRA
