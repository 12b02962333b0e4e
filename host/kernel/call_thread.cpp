// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/call_thread.h"

#include <pthread.h>
#include <signal.h>

#include <utility>

namespace ZYRA::Host {

namespace {

class AllSignalsBlocked {
public:
    AllSignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

private:
    sigset_t before_;
};

}  // namespace

std::thread StartQuietThread(const std::string& name, std::function<void()> body) {
    const AllSignalsBlocked inherited;
    return std::thread([name, body = std::move(body)] {
        pthread_setname_np(pthread_self(), name.c_str());
        body();
    });
}

// Only a signal makes the wait fail.
void Semaphore::Wait() {
    while (sem_wait(&semaphore_) != 0) {
    }
}

CallThread::CallThread(const std::string& name) : thread_(StartQuietThread(name, [this] { Loop(); })) {}

CallThread::~CallThread() {
    work_.Post();
    thread_.join();
}

void CallThread::Run(const std::function<void()>& call) {
    Call entry{&call, {}};
    {
        MutexLock lock(mutex_);
        waiting_.push_back(&entry);
    }
    work_.Post();
    entry.done.Wait();
}

void CallThread::Loop() {
    for (;;) {
        work_.Wait();
        Call* call = nullptr;
        {
            MutexLock lock(mutex_);
            if (waiting_.empty()) {
                return;
            }
            call = waiting_.front();
            waiting_.pop_front();
        }
        (*call->body)();
        call->done.Post();
    }
}

}  // namespace ZYRA::Host
