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

CallThread::CallThread(const std::string& name) : thread_(StartQuietThread(name, [this] { Loop(); })) {}

CallThread::~CallThread() {
    {
        MutexLock lock(mutex_);
        ending_ = true;
        work_.notify_one();
    }
    thread_.join();
}

void CallThread::Run(const std::function<void()>& call) {
    Call entry{&call};
    MutexLock lock(mutex_);
    waiting_.push_back(&entry);
    work_.notify_one();
    while (!entry.done) {
        done_.wait(mutex_);
    }
}

void CallThread::Loop() {
    for (Call* call = Take(); call != nullptr; call = Take()) {
        (*call->body)();
        Finish(*call);
    }
}

CallThread::Call* CallThread::Take() {
    MutexLock lock(mutex_);
    while (waiting_.empty() && !ending_) {
        work_.wait(mutex_);
    }
    if (waiting_.empty()) {
        return nullptr;
    }
    Call* call = waiting_.front();
    waiting_.pop_front();
    return call;
}

void CallThread::Finish(Call& call) {
    MutexLock lock(mutex_);
    call.done = true;
    done_.notify_all();
}

}  // namespace ZYRA::Host
