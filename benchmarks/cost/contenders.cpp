// SPDX-License-Identifier: Apache-2.0
#include "benchmarks/cost/contenders.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <thread>
#include <utility>

namespace ZYRA::Bench {

namespace {

class BareQueue final : public Contender {
public:
    BareQueue() : thread_([this] { Run(); }) {}
    ~BareQueue() override {
        Push({END, 0, nullptr, nullptr});
        thread_.join();
    }

    void Dispatch(const Data& data) override { Push({data->resType, data->value, data->payload, nullptr}); }
    void WaitUntilHandled() override {
        std::promise<void> handled;
        Push({MARK, 0, nullptr, &handled});
        handled.get_future().wait();
    }

private:
    static constexpr uint32_t MARK = UINT32_MAX;
    static constexpr uint32_t END = MARK - 1;

    struct Event {
        uint32_t resType;
        int64_t value;
        nlohmann::json payload;
        std::promise<void>* handled;
    };

    void Push(Event event) {
        {
            const std::lock_guard lock(mutex_);
            events_.push_back(std::move(event));
        }
        wake_.notify_one();
    }

    void Run() {
        for (;;) {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return !events_.empty(); });
            const Event event = std::move(events_.front());
            events_.pop_front();
            lock.unlock();
            if (event.resType == END) {
                return;
            }
            if (event.resType == MARK) {
                event.handled->set_value();
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Event> events_;
    std::thread thread_;
};

class Strand final : public Contender {
public:
    Strand() : strand_(boost::asio::make_strand(context_)), thread_([this] { context_.run(); }) {}
    ~Strand() override {
        work_.reset();
        thread_.join();
    }

    void Dispatch(const Data& data) override {
        boost::asio::post(strand_, [resType = data->resType, value = data->value, event = data->payload] {
            static_cast<void>(resType);
            static_cast<void>(value);
        });
    }
    void WaitUntilHandled() override {
        std::promise<void> handled;
        boost::asio::post(strand_, [&handled] { handled.set_value(); });
        handled.get_future().wait();
    }

private:
    boost::asio::io_context context_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_ = make_work_guard(context_);
    boost::asio::strand<boost::asio::io_context::executor_type> strand_;
    std::thread thread_;
};

}  // namespace

std::unique_ptr<Contender> MakeBareQueue() {
    return std::make_unique<BareQueue>();
}

std::unique_ptr<Contender> MakeStrand() {
    return std::make_unique<Strand>();
}

}  // namespace ZYRA::Bench
