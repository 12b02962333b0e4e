// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <semaphore.h>

#include <deque>
#include <functional>
#include <string>
#include <thread>

#include "platform/mutex.h"

namespace ZYRA::Host {

// Starts a thread that takes no signals, so that the process's own threads keep theirs.
std::thread StartQuietThread(const std::string& name, std::function<void()> body);

// A semaphore of the system, at first 0: the cheapest way to wake one thread. It may be destroyed as soon as Wait has
// returned.
class Semaphore {
public:
    Semaphore() { sem_init(&semaphore_, 0, 0); }
    ~Semaphore() { sem_destroy(&semaphore_); }
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    void Post() { sem_post(&semaphore_); }
    void Wait();

private:
    sem_t semaphore_;
};

// Runs calls one at a time on one thread, for threads that wait for each. The file system's threads have a descriptor
// table of their own (see FuseServer); what a command causes may need the descriptors of the process, as the journal's
// file does, and finds them on this thread.
class CallThread {
public:
    explicit CallThread(const std::string& name);
    // REQUIRES: no Run is under way.
    ~CallThread();
    CallThread(const CallThread&) = delete;
    CallThread& operator=(const CallThread&) = delete;

    // Returns when `call` has run. Any thread but this one.
    void Run(const std::function<void()>& call);

private:
    struct Call {
        const std::function<void()>* body;
        Semaphore done;
    };

    void Loop();

    // Posted once for each call, and once more for the end.
    Semaphore work_;
    Mutex mutex_;
    std::deque<Call*> waiting_ GUARDED_BY(mutex_);
    std::thread thread_;
};

}  // namespace ZYRA::Host
