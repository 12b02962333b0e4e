// SPDX-License-Identifier: Apache-2.0
#include "host/report/progress_line.h"

#include <sys/ioctl.h>

#include <algorithm>

#include "host/replay/printable.h"
#include "host/runtime/retry_on_eintr.h"

namespace ZYRA::Host {

namespace {

constexpr size_t USUAL_WIDTH = 80;

bool BeginsSign(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

// Cuts the text to so many columns, taking each code point for one, and returns how many it has.
size_t CutTo(size_t width, std::string& text) {
    size_t columns = 0;
    for (size_t index = 0; index < text.size(); ++index) {
        if (BeginsSign(text[index]) && ++columns > width) {
            text.resize(index);
            return width;
        }
    }
    return columns;
}

}  // namespace

// In the last column some terminals begin a new line.
size_t ProgressLine::Width() const {
    winsize size = {};
    const bool isKnown = ioctl(fd_, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    return (isKnown ? size.ws_col : USUAL_WIDTH) - 1;
}

// What a terminal does not take is not told.
void ProgressLine::Write(const std::string& text) const {
    RetryOnEintr([&] { return write(fd_, text.data(), text.size()); });
}

void ProgressLine::Show(const std::string& text) {
    if (!isShown_) {
        return;
    }
    std::string line = Printable(text);
    const size_t columns = CutTo(Width(), line);
    const std::string blanks(std::max(columns_, columns) - columns, ' ');
    Write('\r' + line + blanks + std::string(blanks.size(), '\b'));
    columns_ = columns;
}

void ProgressLine::EndLine() const {
    if (isShown_) {
        Write("\n");
    }
}

void ProgressLine::Clear() {
    if (columns_ > 0) {
        Show("");
        Write("\r");
    }
}

}  // namespace ZYRA::Host
