// SPDX-License-Identifier: Apache-2.0
// What is installed works by itself, wherever it lies: the host, what is built against the plugin, the manual page and
// the completion.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "tests/shipped/host_runner.h"

namespace ZYRA::Host {
namespace {

namespace fs = std::filesystem;

// Installs for /usr into a staging folder, and moves that.
class InstallTest : public HostRunnerTest {
protected:
    void SetUp() override {
        const Outcome installed = RunInShell("DESTDIR=" + (folder_ / "staged").string() + " " + CMAKE_PROGRAM +
                                             " --install " + BUILD_DIR + " --prefix /usr");
        ASSERT_EQ(installed.exitStatus, 0) << installed.output;
        fs::rename(folder_ / "staged/usr", prefix_);
    }

    static std::string Read(const fs::path& path) {
        std::ifstream file(path);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    static std::set<std::string> NamesIn(const fs::path& folder) {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder)) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    const fs::path prefix_ = folder_ / "moved";
    const fs::path libraries_ = prefix_ / INSTALLED_LIBRARIES;
    const std::string host_ = prefix_ / "bin/iosched-host";
};

TEST_F(InstallTest, TheMovedHostFindsItsLibrariesAndItsPlugin) {
    EXPECT_EQ(NamesIn(prefix_ / "bin"), (std::set<std::string>{"iosched-host"}));
    EXPECT_EQ(NamesIn(libraries_),
              (std::set<std::string>{"libio_sched_plugin.z.so", "libiosched_platform.so", "pkgconfig"}));
    EXPECT_TRUE(NamesIn(prefix_ / "share/doc/iosched").contains("LICENSE"));
    EXPECT_TRUE(fs::exists(prefix_ / "share/doc/iosched/docs/formats.md"));
    EXPECT_EQ(RunInShell(host_ + " --version").output.find("iosched-host "), 0u);

    const std::string replay = "cd / && " + host_ + " replay " + SCENARIO_DIR + "/cold_start_first.jsonl";
    const Outcome replayed = RunInShell(replay);
    EXPECT_EQ(replayed.exitStatus, 0) << replayed.output;
    EXPECT_NE(replayed.output.find("com.example.mail"), std::string::npos) << replayed.output;
    // It was this plugin.
    fs::remove(libraries_ / "libio_sched_plugin.z.so");
    EXPECT_EQ(RunInShell(replay).exitStatus, 2);
}

// The service of the documents, behind every header of the interfaces.
TEST_F(InstallTest, AServiceIsBuiltWithPkgConfigAndDrivesThePlugin) {
    const std::string document = Read(prefix_ / "share/doc/iosched/docs/installing.md");
    const std::string fence = "```cpp\n";
    const size_t begin = document.find(fence) + fence.size();
    std::string source;
    for (const std::string& header : NamesIn(prefix_ / "include/iosched/platform")) {
        source += "#include \"platform/" + header + "\"\n";
    }
    source += "const auto& manager = ZYRA::ResourceSchedule::PluginMgr::GetInstance();\n" +
              document.substr(begin, document.find("```", begin) - begin);
    const std::string program = folder_ / "service";
    const std::string pkgConfig = "PKG_CONFIG_PATH=" + (libraries_ / "pkgconfig").string() + " pkg-config ";
    const Outcome built = RunInShell(std::string(CXX_COMMAND) + " -Wall -Wextra -Werror -o " + program + " " +
                                     Write("service.cpp", source) + " $(" + pkgConfig +
                                     "--cflags --libs io_sched_plugin) -Wl,-rpath," + libraries_.string());
    ASSERT_EQ(built.exitStatus, 0) << built.output;
    const Outcome run = RunInShell(program + " $(" + pkgConfig + "--variable=plugin io_sched_plugin)");
    EXPECT_EQ(run.exitStatus, 0) << run.output;
    EXPECT_NE(run.output.find("-dfx"), std::string::npos) << run.output;
}

// Whatever the help names, and nothing that roff takes for a request or for a hyphen.
TEST_F(InstallTest, TheManualPageNamesWhatTheHelpNames) {
    const std::string page = Read(prefix_ / "share/man/man1/iosched-host.1");
    size_t named = 0;
    const auto compare = [&](const std::string& help, const std::string& pattern, const std::string& mark) {
        const std::regex expression(pattern, std::regex::multiline);
        for (std::sregex_iterator match(help.begin(), help.end(), expression), end; match != end; ++match, ++named) {
            const std::string name = std::regex_replace((*match)[1].str(), std::regex("-"), "\\-");
            EXPECT_NE(page.find(mark + name), std::string::npos) << name;
        }
    };
    const std::string option = "^  (?:-\\w,)?(--[a-z-]+)";
    const std::string help = RunInShell(host_ + " --help").output;
    compare(help, option, "\\fB");
    const std::string commands = help.substr(help.find("Subcommands:\n"));
    compare(commands, "^  ([a-z]+)", ".SS ");
    const std::regex command("^  ([a-z]+)", std::regex::multiline);
    for (std::sregex_iterator match(commands.begin(), commands.end(), command), end; match != end; ++match) {
        compare(RunInShell(host_ + " " + (*match)[1].str() + " --help").output, option, "\\fB");
    }
    EXPECT_GT(named, 30u) << help;
    for (const char* section : {"NAME", "SYNOPSIS", "DESCRIPTION", "EXAMPLES", "OPTIONS", "COMMANDS", "EXIT STATUS",
                                "ENVIRONMENT", "FILES", "SEE ALSO"}) {
        EXPECT_NE(page.find(std::string("\n.SH ") + section + '\n'), std::string::npos) << section;
    }

    const std::regex request("\\.(TH|SH|SS|TP|PP|RS|RE|nh|ad)( .*)?");
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
        const bool isRequest = line.starts_with('.') || line.starts_with('\'');
        EXPECT_TRUE(!isRequest || std::regex_match(line, request)) << line;
        EXPECT_FALSE(std::regex_search(line, std::regex("(^|[^\\\\])-"))) << line;
        EXPECT_FALSE(line.empty());
    }
}

TEST_F(InstallTest, BashCompletesCommandsOptionsValuesAndFiles) {
    fs::create_directories(folder_ / "here/a folder");
    for (const char* name : {"day.jsonl", "day.device.json", "log.csv", "other.txt", "a day.jsonl"}) {
        Write(std::string("here/") + name, "");
    }
    const std::string script =
        Write("complete.sh", "source " + (prefix_ / "share/bash-completion/completions/").string() +
                                 "iosched-host\nfunction=$(complete -p iosched-host | sed "
                                 "'s/.*-F \\([^ ]*\\).*/\\1/')\n"
                                 "COMP_WORDS=(iosched-host \"$@\")\nCOMP_CWORD=$#\n$function\n"
                                 "printf '%s\\n' \"${COMPREPLY[@]}\" | sort\n");
    const struct {
        const char* words;  // In the shell's syntax; the last one is completed.
        const char* completions;
    } rows[] = {
        {"rep", "replay\n"},
        {"--v", "--version\n"},
        {"replay --dev", "--device\n"},
        {"launch --re", "--record\n"},
        {"replay --log-level ''", "DEBUG\nERROR\nFATAL\nINFO\nWARN\n"},
        {"replay --log-level = W", "WARN\n"},
        {"replay --log-level =", "DEBUG\nERROR\nFATAL\nINFO\nWARN\n"},
        {"launch --record p", "passive\n"},
        {"replay d", "day.jsonl\n"},
        {"replay a", "a day.jsonl\na folder\n"},
        {"replay --device d", "day.device.json\n"},
        {"replay --real-time d", "day.jsonl\n"},
        {"replay day.jsonl --data ''", "a folder\n"},
        {"replay --journal ''", "-\na day.jsonl\na folder\nday.device.json\nday.jsonl\nlog.csv\nother.txt\n"},
        {"import l", "log.csv\n"},
        {"records o", "\n"},
        {"replay --settle d", "\n"},
        {"launch -n 3 -- iosched-ho", "iosched-host\n"},
        {"launch -- bash ot", "other.txt\n"},
        {"launch -- bash --re", "\n"},
    };
    for (const auto& row : rows) {
        const Outcome outcome =
            RunInShell("cd " + (folder_ / "here").string() + " && PATH=" + (prefix_ / "bin").string() +
                       ":/usr/bin:/bin bash --norc " + script + " " + row.words);
        EXPECT_EQ(outcome.output, row.completions) << row.words;
    }
}

}  // namespace
}  // namespace ZYRA::Host
