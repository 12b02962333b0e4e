// SPDX-License-Identifier: Apache-2.0
#include "host/cli/records_command.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

#include "host/cli/help.h"
#include "host/cli/wanted_file.h"
#include "host/kernel/record_file.h"
#include "host/kernel/scene_line.h"
#include "host/pages/page_record.h"
#include "host/pages/record_check.h"
#include "host/replay/printable.h"
#include "host/report/text_table.h"
#include "host/runtime/confined_folder.h"

namespace ZYRA::Host {

namespace {

namespace fs = std::filesystem;

constexpr char EXAMPLES[] =
    "  iosched-host records state/                                    the records of a replay with --data state/\n"
    "  iosched-host records state/ com.example.mail/com.example.mail  the files and pages of one of them\n";

constexpr double BYTES_PER_MB = 1e6;
// Lines of ranges are broken behind this column.
constexpr size_t WIDTH = 100;

ExitCode Print(const std::string& text) {
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    return isWritten ? EXIT_DONE : Fail(EXIT_RUN_FAILED, std::string("standard output: ") + std::strerror(errno));
}

// What a record file holds: nothing, pages, the number of pages on a modelled device, or neither, and why.
struct Empty {};
struct Damage {
    std::string reason;
};
using Content = std::variant<Empty, PageRecord, Record, Damage>;

Content ContentOf(const std::string& text) {
    if (text.empty()) {
        return Empty();
    }
    if (const auto modelled = ParseRecordText(text)) {
        return *modelled;
    }
    Damage damage;
    auto record = DecodeRecord(text, damage.reason);
    return record ? Content(*std::move(record)) : Content(std::move(damage));
}

std::string Megabytes(uint64_t pages) {
    return fmt::format("{:.1f} MB", static_cast<double>(pages) * static_cast<double>(BYTES_PER_PAGE) / BYTES_PER_MB);
}

// How long ago the record was made, in the largest unit of which there are two.
std::string Age(int64_t madeAtS) {
    struct Unit {
        int64_t seconds;
        const char* name;
    };
    constexpr std::array<Unit, 3> UNITS = {{{86400, "days"}, {3600, "hours"}, {60, "minutes"}}};
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    const int64_t nowS = std::chrono::duration_cast<std::chrono::seconds>(sinceEpoch).count();
    if (madeAtS < 0 || madeAtS > nowS) {
        return "at no known time";
    }
    for (const auto& [seconds, name] : UNITS) {
        if (nowS - madeAtS >= 2 * seconds) {
            return fmt::format("{} {} ago", (nowS - madeAtS) / seconds, name);
        }
    }
    return fmt::format("{} s ago", nowS - madeAtS);
}

std::vector<std::string> TableRow(const std::string& scene, const Content& content) {
    std::vector<std::string> row = {Printable(scene), "-", "-", "-", "-", "empty"};
    if (const auto* record = std::get_if<PageRecord>(&content)) {
        row[1] = std::to_string(record->RegularFiles());
        row[2] = std::to_string(record->Pages());
        row[3] = Megabytes(record->Pages());
        row[4] = Age(record->madeAtS);
        row[5] = RecordStateText(CheckRecord(*record).state);
    } else if (const auto* modelled = std::get_if<Record>(&content)) {
        row[2] = std::to_string(modelled->pages);
        row[3] = Megabytes(modelled->pages);
        row[5] = "modelled";
    } else if (std::holds_alternative<Damage>(content)) {
        row[5] = "damaged";
    }
    return row;
}

// The ranges as "first-last", or "page" where it is one, in lines that are not too long.
std::string RangeLines(const std::vector<PageRange>& ranges) {
    std::string text;
    std::string line = "   ";
    for (const auto& [first, count] : ranges) {
        const std::string range =
            count == 1 ? fmt::format(" {}", first) : fmt::format(" {}-{}", first, first + count - 1);
        if (line.size() + range.size() > WIDTH) {
            text += line + '\n';
            line = "   ";
        }
        line += range;
    }
    return text + line + '\n';
}

// One record with its files, each where its first page was touched, and what else was read on the way to them.
std::string RecordText(const std::string& scene, const PageRecord& record) {
    const RecordCheck check = CheckRecord(record);
    std::vector<std::vector<PageRange>> ranges(record.files.size());
    std::vector<uint32_t> order;
    for (const auto& [file, pages] : record.ranges) {
        if (ranges[file].empty()) {
            order.push_back(file);
        }
        ranges[file].push_back(pages);
    }
    std::string text =
        fmt::format("{}: {} files, {} pages ({}), made {}, {}\n", Printable(scene), record.RegularFiles(),
                    record.Pages(), Megabytes(record.Pages()), Age(record.madeAtS), RecordStateText(check.state));
    for (const uint32_t file : order) {
        uint64_t pages = 0;
        for (const PageRange& range : ranges[file]) {
            pages += range.count;
        }
        text += fmt::format("  {}  {} {}, {}\n", Printable(record.files[file].path), pages,
                            pages == 1 ? "page" : "pages", check.isUnchanged[file] ? "unchanged" : "changed");
        text += RangeLines(ranges[file]);
    }
    for (const RecordedFile& file : record.files) {
        if (file.kind != FileKind::REGULAR) {
            text += fmt::format("  {}  {} on the way\n", Printable(file.path),
                                file.kind == FileKind::FOLDER ? "folder" : "link");
        }
    }
    return text;
}

// The regular files below the folder by their paths from there, sorted; nothing when a folder cannot be read, with
// `error` set.
std::vector<std::string> ScenesBelow(const fs::path& folder, std::error_code& error) {
    std::vector<std::string> scenes;
    auto entry = fs::recursive_directory_iterator(folder, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        std::error_code isGone;
        std::string scene = entry->path().lexically_relative(folder);
        if (entry->symlink_status(isGone).type() == fs::file_type::regular && scene != ConfinedFolder::REPLACING_NAME) {
            scenes.push_back(std::move(scene));
        }
    }
    std::sort(scenes.begin(), scenes.end());
    return scenes;
}

ExitCode ListAll(const std::string& root, const ConfinedFolder& folder) {
    std::error_code error;
    const std::vector<std::string> scenes = ScenesBelow(root, error);
    if (error) {
        return Fail(EXIT_RUN_FAILED, root + ": " + error.message());
    }
    ExitCode code = EXIT_DONE;
    TextTable table({"scene", "files", "pages", "size", "made", "state"});
    for (const std::string& scene : scenes) {
        std::string text;
        const int failure = folder.Read(root + scene, text, MOST_RECORD_BYTES);
        if (failure == EFBIG) {
            text = "x";  // Whatever it is, no record is as long.
        } else if (failure != 0) {
            code = Fail(EXIT_RUN_FAILED, root + scene + ": " + std::strerror(failure));
            continue;
        }
        table.Add(TableRow(scene, ContentOf(text)));
    }
    const ExitCode printed = Print(scenes.empty() ? "no records\n" : table.Text());
    return printed == EXIT_DONE ? code : printed;
}

ExitCode ShowOne(const std::string& root, const ConfinedFolder& folder, const std::string& scene) {
    std::string text;
    if (const int failure = folder.Read(root + scene, text, MOST_RECORD_BYTES); failure != 0) {
        const std::array notARecord = {ENOENT, EPERM, EISDIR, ENOTDIR, ELOOP, EINVAL, ENXIO};
        const bool isBadName = std::find(notARecord.begin(), notARecord.end(), failure) != notARecord.end();
        return isBadName ? Fail(EXIT_BAD_INPUT, scene + ": is no record; leave the scene out to list them")
                         : Fail(EXIT_RUN_FAILED, scene + ": " + std::strerror(failure));
    }
    const Content content = ContentOf(text);
    if (const auto* record = std::get_if<PageRecord>(&content)) {
        return Print(RecordText(scene, *record));
    }
    if (const auto* modelled = std::get_if<Record>(&content)) {
        return Print(fmt::format("{}: {} pages ({}), modelled: of no files\n", Printable(scene), modelled->pages,
                                 Megabytes(modelled->pages)));
    }
    if (const auto* damage = std::get_if<Damage>(&content)) {
        return Fail(EXIT_RUN_FAILED, scene + ": damaged: " + damage->reason);
    }
    return Print(Printable(scene) + ": empty: nothing has been collected yet\n");
}

}  // namespace

void RecordsCommand::AddTo(CLI::App& app) {
    CLI::App& command = *app.add_subcommand("records", "Tell which pages the records in a data folder hold.");
    SetExamples(command, EXAMPLES);
    command.add_option("DIR", dataFolder_, "The folder that was /data, as --data named it")->required()->type_name("");
    command.add_option("SCENE", scene_, "A scene by its name in the list; its files and pages are told")->type_name("");
}

ExitCode RecordsCommand::Run() {
    std::error_code error;
    const fs::path folder = fs::canonical(dataFolder_, error);
    if (error) {
        return Fail(EXIT_BAD_INPUT, dataFolder_ + ": " + error.message());
    }
    const std::string_view below = RECORD_DIRECTORY.substr(std::string_view("/data/").size());
    const std::string root = (folder / below).string();
    if (!fs::is_directory(root, error)) {
        return Fail(EXIT_BAD_INPUT,
                    dataFolder_ + ": has no folder " + std::string(below) + "; name the folder that --data named");
    }
    const ConfinedFolder records(root);
    return scene_.empty() ? ListAll(root, records) : ShowOne(root, records, scene_);
}

}  // namespace ZYRA::Host
