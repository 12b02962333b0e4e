// SPDX-License-Identifier: Apache-2.0
#include "host/replay/scenario_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "host/runtime/retry_on_eintr.h"

namespace ZYRA::Host {

namespace {

constexpr size_t PIECE_SIZE = 1 << 16;

// Appends the next piece, which `readInto` reads as read(2) does. Returns false at the end, or with errno set when it
// cannot be read.
template <typename ReadInto>
bool ReadPiece(const ReadInto& readInto, std::string& text) {
    const size_t before = text.size();
    text.resize(before + PIECE_SIZE);
    errno = 0;
    const ssize_t size = RetryOnEintr([&] { return readInto(text.data() + before, PIECE_SIZE); });
    text.resize(before + (size > 0 ? static_cast<size_t>(size) : 0));
    errno = size >= 0 ? 0 : errno;
    return size > 0;
}

// A file in memory that holds what can be read from the given one. Not valid, with errno set, when that fails.
UniqueFd Kept(int file) {
    UniqueFd kept(memfd_create("scenario", MFD_CLOEXEC));
    std::string piece;
    const auto readOn = [file](char* buffer, size_t size) { return read(file, buffer, size); };
    while (kept.Valid() && ReadPiece(readOn, piece)) {
        const ssize_t written = RetryOnEintr([&] { return write(kept.Get(), piece.data(), piece.size()); });
        if (written != static_cast<ssize_t>(piece.size())) {
            errno = written < 0 ? errno : ENOSPC;
            return UniqueFd();
        }
        piece.clear();
    }
    return errno == 0 ? std::move(kept) : UniqueFd();
}

}  // namespace

std::unique_ptr<ScenarioFile> ScenarioFile::Open(const std::string& path, InputError& error,
                                                 const CheckProgress& onProgress) {
    UniqueFd file(RetryOnEintr([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC); }));
    struct stat status = {};
    if (file.Valid() && fstat(file.Get(), &status) == 0 && !S_ISREG(status.st_mode)) {
        file = Kept(file.Get());
    }
    if (!file.Valid()) {
        error = {path, 0, std::strerror(errno)};
        return nullptr;
    }
    std::unique_ptr<ScenarioFile> scenario(new ScenarioFile(path, std::move(file)));
    try {
        scenario->checkedState_ = scenario->StateNow();
        scenario->Check(onProgress);
    } catch (const InputFailure& failure) {
        error = failure.error;
        return nullptr;
    }
    return scenario;
}

std::optional<ScenarioStep> ScenarioFile::Next(InputError& error) {
    try {
        std::optional<ScenarioStep> step;
        do {
            step = NextStep();
        } while (step && reader_.IsDescribing());
        steps_ += step ? 1 : 0;
        if (step ? steps_ > checkedSteps_ : steps_ < checkedSteps_) {
            throw InputFailure{{path_, 0, "has changed while it was replayed"}};
        }
        return step;
    } catch (const InputFailure& failure) {
        error = failure.error;
        return std::nullopt;
    }
}

void ScenarioFile::Fail() const {
    throw InputFailure{{path_, 0, std::strerror(errno)}};
}

ScenarioFile::State ScenarioFile::StateNow() const {
    struct stat status = {};
    if (fstat(file_.Get(), &status) != 0) {
        Fail();
    }
    return {status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

void ScenarioFile::CheckUnchanged() const {
    if (StateNow() != checkedState_) {
        throw InputFailure{{path_, 0, "has changed while it was replayed"}};
    }
}

void ScenarioFile::Rewind() {
    reader_ = ScenarioReader(path_);
    offset_ = 0;
    text_.clear();
    at_ = 0;
}

std::optional<std::string_view> ScenarioFile::NextLine() {
    const auto readOn = [this](char* buffer, size_t size) { return pread(file_.Get(), buffer, size, offset_); };
    size_t end = text_.find('\n', at_);
    while (end == std::string::npos) {
        text_.erase(0, at_);
        at_ = 0;
        const size_t before = text_.size();
        const bool isMore = ReadPiece(readOn, text_);
        offset_ += static_cast<off_t>(text_.size() - before);
        if (isMore || errno == 0) {
            CheckUnchanged();
            errno = 0;
        }
        if (!isMore) {
            break;
        }
        end = text_.find('\n', before);
    }
    if (end == std::string::npos && errno != 0) {
        Fail();
    }
    if (at_ == text_.size()) {
        return std::nullopt;
    }
    end = std::min(end, text_.size());
    const std::string_view line(text_.data() + at_, end - at_);
    at_ = std::min(end + 1, text_.size());
    return line;
}

std::optional<ScenarioStep> ScenarioFile::NextStep() {
    std::optional<ScenarioStep> step;
    for (auto line = NextLine(); line; line = NextLine()) {
        step = reader_.Read(*line);
        if (step) {
            break;
        }
    }
    return step;
}

void ScenarioFile::Check(const CheckProgress& onProgress) {
    Rewind();
    for (auto step = NextStep(); step; step = NextStep()) {
        if (onProgress) {
            onProgress(offset_, checkedState_.front());
        }
        if (reader_.IsDescribing()) {
            startDevice_.push_back(std::get<DeviceStep>(std::move(step->action)));
        } else {
            ++checkedSteps_;
        }
    }
    Rewind();
}

}  // namespace ZYRA::Host
