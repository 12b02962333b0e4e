// SPDX-License-Identifier: Apache-2.0
#include "host/cli/stop_signals.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <iterator>
#include <system_error>

#include "host/runtime/retry_on_eintr.h"

namespace ZYRA::Host {

namespace {

bool IsIgnored(int number) {
    struct sigaction present = {};
    return sigaction(number, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

}  // namespace

SignalInbox::SignalInbox(std::initializer_list<int> numbers) {
    sigset_t taken;
    sigemptyset(&taken);
    for (const int number : numbers) {
        if (!IsIgnored(number)) {
            sigaddset(&taken, number);
        }
    }
    file_.Reset(signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!file_.Valid()) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
    pthread_sigmask(SIG_BLOCK, &taken, &before_);
}

SignalInbox::~SignalInbox() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

std::optional<int> SignalInbox::Take() {
    signalfd_siginfo info = {};
    const ssize_t size = RetryOnEintr([&] { return read(file_.Get(), &info, sizeof(info)); });
    return size == sizeof(info) ? std::optional(static_cast<int>(info.ssi_signo)) : std::nullopt;
}

void SignalInbox::DieOf(int number) {
    struct sigaction byDefault = {};
    byDefault.sa_handler = SIG_DFL;
    sigaction(number, &byDefault, nullptr);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, number);
    raise(number);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
}

StopOnSignal::StopOnSignal(SignalInbox& inbox) : inbox_(inbox), end_(eventfd(0, EFD_CLOEXEC)) {
    if (!end_.Valid()) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
    thread_ = std::thread([this] { Watch(); });
}

StopOnSignal::~StopOnSignal() {
    const uint64_t one = 1;
    RetryOnEintr([&] { return write(end_.Get(), &one, sizeof(one)); });
    thread_.join();
}

void StopOnSignal::Watch() {
    pollfd waited[] = {{inbox_.Fd(), POLLIN, 0}, {end_.Get(), POLLIN, 0}};
    while (waited[1].revents == 0) {
        RetryOnEintr([&] { return poll(waited, std::size(waited), -1); });
        const auto number = waited[0].revents != 0 ? inbox_.Take() : std::nullopt;
        if (number && !stop_.request_stop()) {
            SignalInbox::DieOf(*number);
        }
    }
}

}  // namespace ZYRA::Host
