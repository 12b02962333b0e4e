// SPDX-License-Identifier: Apache-2.0
#include "host/launch/launch_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "host/replay/printable.h"
#include "host/report/quantity_text.h"
#include "host/report/text_table.h"

namespace ZYRA::Host {

namespace {

constexpr size_t MOST_COLUMNS = 110;
constexpr double US_PER_MS = 1000;
constexpr double BYTES_PER_MB = 1e6;
constexpr double PERCENT = 100;

std::string Ms(int64_t us) {
    return fmt::format("{:.1f}", static_cast<double>(us) / US_PER_MS);
}

// The same unit in all rows, so that they compare at a glance.
std::string MegaBytes(uint64_t bytes) {
    return fmt::format("{:.1f} MB", static_cast<double>(bytes) / BYTES_PER_MB);
}

std::string Percent(double share) {
    return fmt::format("{:.1f} %", share * PERCENT);
}

// In lines of words, of which the first begins with `first` and the others with as many blanks.
std::string Wrapped(const std::string& first, const std::string& text) {
    std::string lines = first;
    size_t columns = first.size();
    bool isLineEmpty = true;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find(' ', begin), text.size());
        const size_t length = end - begin;
        if (!isLineEmpty && columns + 1 + length > MOST_COLUMNS) {
            lines += '\n' + std::string(first.size(), ' ');
            columns = first.size();
            isLineEmpty = true;
        }
        lines += (isLineEmpty ? "" : " ") + text.substr(begin, length);
        columns += length + (isLineEmpty ? 0 : 1);
        isLineEmpty = false;
        begin = end + 1;
    }
    return lines + '\n';
}

// As somebody would type it, in quotes where a shell would see more than one word or a sign of its own.
std::string CommandText(const std::vector<std::string>& command) {
    constexpr std::string_view PLAIN_SIGNS = "%+,-./:=@_";
    std::string text;
    for (const std::string& word : command) {
        const bool isPlain = !word.empty() && std::all_of(word.begin(), word.end(), [&](char sign) {
            return (sign >= '0' && sign <= '9') || (sign >= 'a' && sign <= 'z') || (sign >= 'A' && sign <= 'Z') ||
                   PLAIN_SIGNS.find(sign) != std::string_view::npos;
        });
        text += (text.empty() ? "" : " ") + (isPlain ? word : Quoted(word));
    }
    return text;
}

std::string OptionsText(const LaunchOptions& options) {
    const std::string text =
        fmt::format("{} each in turn, head start {:g} ms, record {}", Counted(options.runs, "start"),
                    static_cast<double>(options.headStartUs) / US_PER_MS, Printable(options.recordMode));
    return options.readers == 0 ? text : text + ", " + Counted(options.readers, "background reader");
}

std::string StartsText(const LaunchResult& result) {
    TextTable table({"", "median", "min", "max", "read from disk"});
    for (const auto& [kind, samples] : result.starts) {
        if (samples.empty()) {
            continue;
        }
        const Spread<int64_t> wait = SpreadOfWaits(samples);
        const auto bytes = SpreadOfBytes(samples);
        const bool isSpread = samples.size() > 1;
        table.Add({StartLabel(kind), Ms(wait.median) + " ms", isSpread ? Ms(wait.min) : "",
                   isSpread ? Ms(wait.max) : "", bytes ? MegaBytes(bytes->median) : "-"});
    }
    return table.Text();
}

std::string GainText(const char* label, const std::optional<Gain>& gain) {
    return gain ? fmt::format("  {}   {}\n", label, gain->share ? Percent(*gain->share) : "nothing to gain") : "";
}

std::string RecordText(const LaunchRecord& record) {
    std::string text = fmt::format("{}, {} of {}, {}", Bytes(record.bytes), Counted(record.pages, "page"),
                                   Counted(record.files, "file"), Bytes(record.fileBytes));
    const auto untouched = record.UntouchedShare();
    const auto missed = record.MissedShare();
    text += untouched ? "; never touched " + Percent(*untouched) : "";
    text += missed ? (untouched ? ", missed " : "; missed ") + Percent(*missed) : "";
    return text;
}

// How the starts ended, and whether they did the same.
std::string ProgramText(const LaunchResult& result) {
    std::string text;
    if (const auto status = result.CommonStatus()) {
        text = StatusText(*status) + " in every start";
    } else {
        for (const auto& [kind, samples] : result.starts) {
            for (const StartSample& sample : samples) {
                const std::string one = fmt::format("{} when {}", StatusText(sample.status), StartLabel(kind));
                text += text.find(one) != std::string::npos ? "" : (text.empty() ? "" : ", ") + one;
            }
        }
    }
    if (result.isOutputSame) {
        text += *result.isOutputSame ? ", the same output" : ", the output differs";
    }
    return text;
}

}  // namespace

std::string LaunchTable(const LaunchResult& result) {
    std::string text = Wrapped("", CommandText(result.command));
    text += Wrapped("  ", OptionsText(result.options));
    text += StartsText(result);
    text += GainText("avoidable wait taken away", result.PrereadGain());
    text += GainText("wait for busy disks taken away by preread and limit", result.BusyGain());
    if (result.record) {
        text += Wrapped("  record   ", RecordText(*result.record));
    }
    if (result.preread) {
        text += fmt::format("  preread  {} done, {} failed\n", result.preread->succ, result.preread->fail);
    }
    text += Wrapped("  program  ", ProgramText(result));
    for (const std::string& note : result.notes) {
        text += Wrapped("  note     ", Printable(note));
    }
    return text;
}

}  // namespace ZYRA::Host
