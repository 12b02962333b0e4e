#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <string>
#include <thread>

#include "platform/mutex.h"

namespace ZYRA::Host {

// Starts a thread that takes no signals, so that the process's own threads keep theirs.
std::thread StartQuietThread(const std::string& name, std::function<void()> body);

// Runs calls one at a time on one thread, for threads that wait for each. The file system's threads have a descriptor
// table of their own (see FuseServer); what a command causes, above all the journal's sinks, needs the descriptors of
// the process, and finds them on this thread.
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
        bool done = false;
    };

    void Loop();
    // Waits for the next call; null when the thread is to end.
    Call* Take();
    void Finish(Call& call);

    Mutex mutex_;
    std::condition_variable_any work_;
    std::condition_variable_any done_;
    std::deque<Call*> waiting_ GUARDED_BY(mutex_);
    bool ending_ GUARDED_BY(mutex_) = false;
    std::thread thread_;
};

}  // namespace ZYRA::Host
