// SPDX-License-Identifier: Apache-2.0
// Keeps what of files is in the page cache, and reads it into it again: what is done for a start without knowing which
// pages were demanded.

#include <fcntl.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "host/pages/page_cache.h"
#include "host/pages/page_record.h"
#include "host/pages/record_check.h"
#include "host/runtime/unique_fd.h"
#include "platform/file_util.h"

namespace ZYRA::Host {
namespace {

int Fail(const std::string& what) {
    std::fprintf(stderr, "cache_record: %s\n", what.c_str());
    return EXIT_FAILURE;
}

// `list` holds a path a line; those of no regular file are left out.
PageRecord ResidentPagesOf(std::istream& list) {
    PageRecord record;
    std::set<std::pair<uint64_t, uint64_t>> known;
    for (std::string path; std::getline(list, path);) {
        const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        struct stat status = {};
        if (!file.Valid() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
            continue;
        }
        const FileIdentity identity = IdentityOf(status);
        if (!known.emplace(identity.device, identity.inode).second) {
            continue;
        }
        const auto index = static_cast<uint32_t>(record.files.size());
        record.files.push_back({FileKind::REGULAR, identity, path});
        for (const PageRange& range : ResidentPages(file.Get(), PagesOf(identity.size)).Ranges()) {
            record.ranges.push_back({index, range});
        }
    }
    return record;
}

int Save(const std::string& listFile, const std::string& recordFile) {
    std::ifstream list(listFile);
    if (!list) {
        return Fail(listFile + ": cannot be read");
    }
    const PageRecord record = ResidentPagesOf(list);
    std::ofstream out(recordFile, std::ios::binary);
    if (!(out << EncodeRecord(record)).flush()) {
        return Fail(recordFile + ": cannot be written");
    }
    std::printf("%llu pages of %zu files\n", static_cast<unsigned long long>(record.Pages()), record.files.size());
    return EXIT_SUCCESS;
}

int Replay(const std::string& recordFile) {
    std::string text;
    if (!LoadStringFromFile(recordFile, text)) {
        return Fail(recordFile + ": cannot be read");
    }
    std::string reason;
    const auto record = DecodeRecord(text, reason);
    if (!record) {
        return Fail(recordFile + ": " + reason);
    }
    UniqueFd file;
    std::optional<uint32_t> opened;
    for (const auto& [index, pages] : record->ranges) {
        if (opened != index) {
            file = UniqueFd(open(record->files[index].path.c_str(), O_RDONLY | O_CLOEXEC));
            opened = index;
        }
        if (!file.Valid() || !StartReading(file.Get(), pages)) {
            return Fail(record->files[index].path + ": cannot be read");
        }
    }
    return EXIT_SUCCESS;
}

}  // namespace
}  // namespace ZYRA::Host

int main(int argc, char** argv) {
    std::string list;
    std::string record;
    CLI::App app("What of files is in the page cache.");
    app.require_subcommand(1);
    CLI::App& save = *app.add_subcommand("save", "Keep what is there of the files that the list names, one a line.");
    save.add_option("RECORD", record)->required();
    save.add_option("LIST", list)->required();
    app.add_subcommand("replay", "Read it again.")->add_option("RECORD", record)->required();
    CLI11_PARSE(app, argc, argv);
    return save.parsed() ? ZYRA::Host::Save(list, record) : ZYRA::Host::Replay(record);
}
