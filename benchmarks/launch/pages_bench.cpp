// SPDX-License-Identifier: Apache-2.0
// How long a record takes to be loaded: it is read when its scene is bound, while somebody waits.

#include <benchmark/benchmark.h>

#include <string>

#include "host/pages/page_record.h"

namespace ZYRA::Host {
namespace {

// As many files and pages as a browser's start touches, 131 MB, in ranges of `pagesPerRange`.
PageRecord BrowsersRecord(uint64_t pagesPerRange) {
    constexpr uint32_t FILES = 400;
    constexpr uint64_t PAGES = 131000000 / BYTES_PER_PAGE;
    PageRecord record;
    for (uint32_t file = 0; file < FILES; ++file) {
        const std::string path = "/usr/lib/x86_64-linux-gnu/libsomething-" + std::to_string(file) + ".so.1";
        record.files.push_back({FileKind::REGULAR, {1, file + 1, int64_t{1} << 30, 1}, path});
    }
    for (uint64_t range = 0; range < PAGES / pagesPerRange; ++range) {
        record.ranges.push_back({static_cast<uint32_t>(range % FILES), {2 * pagesPerRange * range, pagesPerRange}});
    }
    return record;
}

void LoadRecord(benchmark::State& state) {
    const std::string text = EncodeRecord(BrowsersRecord(static_cast<uint64_t>(state.range(0))));
    std::string reason;
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(DecodeRecord(text, reason));
    }
    state.counters["bytes"] = static_cast<double>(text.size());
    state.SetLabel(DecodeRecord(text, reason) ? "" : "not a record: " + reason);
}
BENCHMARK(LoadRecord)->ArgName("pagesPerRange")->Arg(1)->Arg(4)->Arg(16)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ZYRA::Host
