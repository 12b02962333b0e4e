#pragma once

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

    // Lower-case names make the type a BasicLockable, for std::condition_variable_any.
    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }

private:
    std::mutex mutex_;
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
