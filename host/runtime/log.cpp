// SPDX-License-Identifier: Apache-2.0
#include "platform/log.h"

#include <fmt/format.h>

#include <cstring>
#include <exception>
#include <string>

#include "host/runtime/journal.h"
#include "host/runtime/log_sink.h"

namespace ZYRA {

std::atomic<int32_t> logThreshold{static_cast<int32_t>(LogLevel::INFO)};

namespace Host {

namespace {

std::atomic<bool> revealPrivate{false};

constexpr char PUBLIC_MARKER[] = "{public}";
constexpr char PRIVATE_MARKER[] = "{private}";

bool TakeMarker(const char*& at, const char* marker) {
    const size_t length = std::strlen(marker);
    if (std::strncmp(at, marker, length) != 0) {
        return false;
    }
    at += length;
    return true;
}

void Append(std::string& text, const fmt::format_int& number) {
    text.append(number.data(), number.size());
}

void AppendArg(std::string& text, const LogArg& arg) {
    switch (arg.kind) {
        case LogArg::Kind::SIGNED:
            Append(text, fmt::format_int(static_cast<int64_t>(arg.number)));
            break;
        case LogArg::Kind::UNSIGNED:
            Append(text, fmt::format_int(arg.number));
            break;
        case LogArg::Kind::STRING:
            text += arg.text == nullptr ? "(null)" : arg.text;
            break;
    }
}

// The format has been checked at compile time, so every conversion is known and has its argument.
std::string Render(const char* format, const LogArg* args, bool reveal) {
    std::string text;
    for (const char* at = format; *at != '\0'; ++at) {
        if (*at != '%') {
            const size_t plain = std::strcspn(at, "%");
            text.append(at, plain);
            at += plain - 1;
            continue;
        }
        ++at;
        if (*at == '%') {
            text += '%';
            continue;
        }
        const bool isPublic = TakeMarker(at, PUBLIC_MARKER);
        if (!isPublic) {
            TakeMarker(at, PRIVATE_MARKER);
        }
        while (*at == 'l') {
            ++at;
        }
        if (isPublic || reveal) {
            AppendArg(text, *args);
        } else {
            text += "<private>";
        }
        ++args;
    }
    return text;
}

}  // namespace

void SetRevealPrivate(bool reveal) {
    revealPrivate.store(reveal, std::memory_order_relaxed);
}

}  // namespace Host

void LogWrite(LogLevel level, const LogLabel& label, const char* format, const LogArg* args,
              size_t /*count*/) noexcept {
    try {
        if (!Host::Journal::GetInstance().HasSinks()) {
            return;
        }
        std::string text = Host::Render(format, args, Host::revealPrivate.load(std::memory_order_relaxed));
        Host::Journal::GetInstance().Append(Host::LogEntry{level, label.tag, std::move(text)});
    } catch (const std::exception&) {
        // Out of memory: the line is lost, its caller goes on.
    }
}

}  // namespace ZYRA
