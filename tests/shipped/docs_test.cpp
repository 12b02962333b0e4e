// SPDX-License-Identifier: Apache-2.0
// What the documents show is what the program does: each command is run, each input is read, each link is followed.
//
// A fenced block says what it is:
//   sh                     commands, run one by one in a folder of the document's own, unless NOT_RUN matches
//   text output            lines that the commands before it print, in this order; "…" stands for what follows
//   text measured          the same with the numbers of one machine: only the words and the units are compared
//   text diagram           a picture
//   json model             a device model
//   json summary           what --json tells of a replay, with any part of its members
//   jsonl scenario         a scenario, replayed on the default device
//   jsonl journal NAME     lines of the journal that scenarios/NAME.jsonl has
//   cpp                    a source that compiles

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "host/replay/device_model.h"
#include "tests/shipped/host_runner.h"

namespace ZYRA::Host {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using Lines = std::vector<std::string>;

const fs::path SOURCES = fs::path(SCENARIO_DIR).parent_path();

// Commands that are not run, by their beginning. What they name must exist.
const std::regex NOT_RUN(
    "([A-Z_]+=[^ ]* )*("
    "\\./(run|test|bench)|tools/|\\.ci/"                // Install and build, or measure for minutes.
    "|cmake|ctest|build/fuzz/|pkg-config|g\\+\\+|man "  // Need a build or an installation of their own.
    "|build/release/bin/(long_life|test_)"              // Take minutes, or write into the sources.
    "|git "                                             // Show what the reader has changed.
    "|(build/release/bin/)?iosched-host launch).*");    // Change the machine; LaunchedTest runs them.

const std::regex KINDS("sh|text (output|measured|diagram)|json (model|summary)|jsonl (scenario|journal [a-z_]+)|cpp");

std::string TextOf(const fs::path& path) {
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

Lines LinesOf(const std::string& text) {
    std::istringstream stream(text);
    Lines lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string Joined(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

struct Block {
    std::string place;  // Of its beginning.
    std::string kind;
    Lines lines;
};

struct Document {
    std::string name;
    Lines prose;  // Everything outside the blocks.
    std::vector<Block> blocks;
};

Document Read(const fs::path& path) {
    Document document{fs::relative(path, SOURCES).string(), {}, {}};
    bool isInside = false;
    size_t number = 0;
    for (const std::string& line : LinesOf(TextOf(path))) {
        ++number;
        if (line.starts_with("```")) {
            isInside = !isInside;
            if (isInside) {
                document.blocks.push_back({document.name + ":" + std::to_string(number), line.substr(3), {}});
            }
        } else {
            (isInside ? document.blocks.back().lines : document.prose).push_back(line);
        }
    }
    EXPECT_FALSE(isInside) << document.name << " ends within a block";
    return document;
}

std::vector<Document> Documents() {
    std::vector<Document> documents;
    for (const char* folder : {".", "docs"}) {
        for (const auto& entry : fs::directory_iterator(SOURCES / folder)) {
            if (entry.path().extension() == ".md") {
                documents.push_back(Read(fs::canonical(entry.path())));
            }
        }
    }
    return documents;
}

// The commands of a block without their comments. One goes on over a "\" at the end, and to the end of its input.
Lines CommandsOf(const Block& block) {
    Lines commands;
    std::string input;
    bool goesOn = false;
    std::smatch match;
    for (const std::string& line : block.lines) {
        if (goesOn || !input.empty()) {
            commands.back() += "\n" + line;
        } else if (const std::string bare = std::regex_replace(line, std::regex("(^| +)#.*"), ""); !bare.empty()) {
            static const std::regex AND(" && ");
            std::copy(std::sregex_token_iterator(bare.begin(), bare.end(), AND, -1), {}, std::back_inserter(commands));
        }
        goesOn = input.empty() && line.ends_with("\\");
        if (line == input) {
            input.clear();
        } else if (input.empty() && std::regex_search(line, match, std::regex("<<'?([A-Z]+)'?"))) {
            input = match[1];
        }
    }
    return commands;
}

// What a command names that is not run: the program, options, presets and tests.
Lines MissingIn(const std::string& command) {
    static const std::string presets = TextOf(SOURCES / "CMakePresets.json");
    static const std::string launchHelp = RunHost("launch --help").output;
    static const std::string sources = [] {
        std::string text = TextOf(SOURCES / "tests/CMakeLists.txt");
        for (const char* folder : {"tests", "benchmarks", "tools", "fuzz"}) {
            for (const auto& entry : fs::recursive_directory_iterator(SOURCES / folder)) {
                const auto extension = entry.path().extension();
                const bool isRead = extension == ".cpp" || extension == ".sh" || extension == ".txt";
                text += isRead ? entry.path().string() + "\n" + TextOf(entry.path()) : "";
            }
        }
        return text;
    }();
    std::istringstream stream(std::regex_replace(command, std::regex("^([A-Z_]+=[^ ]* )+|'"), ""));
    const Lines words{std::istream_iterator<std::string>(stream), {}};
    const std::string& program = words.front();
    Lines missing;
    const auto need = [&missing](bool isThere, const std::string& what) {
        if (!isThere) {
            missing.push_back(what);
        }
    };
    const bool isScript = program.starts_with(".") || program.starts_with("tools/");
    if (isScript) {
        need(fs::exists(SOURCES / program), program);
    } else if (program.starts_with("build/")) {
        const std::string name = std::regex_replace(program, std::regex(".*/(test_|fuzz_)?"), "");
        need(Contains(sources, program.starts_with("build/fuzz/") ? "/fuzz/" + name + "_fuzzer.cpp" : name), program);
    }
    const bool isLaunch = words.size() > 1 && words[1] == "launch" && !isScript;
    for (size_t at = 1; at < words.size() && !(isLaunch && words[at] == "--"); ++at) {
        const std::string& word = words[at];
        if (word == "--preset" || word == "-R") {
            std::istringstream names(words.at(++at));
            for (std::string name; std::getline(names, name, '|');) {
                need(Contains(word == "-R" ? sources : presets, word == "-R" ? name : "\"name\": \"" + name + "\""),
                     name);
            }
        } else if (isLaunch && word.starts_with("-")) {
            need(Contains(launchHelp, word), word);
        } else if (isScript && program != "./test" && (word.starts_with("--") || (program == "./bench" && at == 1))) {
            need(Contains(sources + TextOf(SOURCES / program), word), word);
        } else if (const size_t path = word.find("fuzz/"); path != std::string::npos && program != "cmake") {
            need(fs::exists(SOURCES / word.substr(path)), word);
        }
    }
    return missing;
}

// The first line that is not found behind the one before it.
std::string FirstMissing(const Lines& shown, const std::string& output) {
    size_t at = 0;
    for (const std::string& line : shown) {
        const size_t cut = line.find("…");
        at = output.find(line.substr(0, cut) + (cut == std::string::npos ? "\n" : ""), at);
        if (at == std::string::npos) {
            return line;
        }
    }
    return "";
}

// Without figures, and without the room that they take.
std::string Shape(const std::string& text) {
    return std::regex_replace(std::regex_replace(text, std::regex("[0-9][0-9.,]*"), "N"), std::regex(" +"), " ");
}

// Whether each member of the shown object is one of the real one, of the same type.
bool IsPartOf(const json& shown, const json& real) {
    if (shown.is_null() || real.is_null()) {
        return true;
    }
    if (shown.is_array()) {
        return real.is_array() && (shown.empty() || real.empty() || IsPartOf(shown.front(), real.front()));
    }
    if (!shown.is_object()) {
        return shown.is_number() ? real.is_number() : shown.type() == real.type();
    }
    return real.is_object() && std::all_of(shown.items().begin(), shown.items().end(), [&real](const auto& member) {
               return real.contains(member.key()) && IsPartOf(member.value(), real[member.key()]);
           });
}

class DocsTest : public HostRunnerTest {
protected:
    // A folder as a reader has it: the sources' scenarios, the host where it is built, and files of the reader's own.
    DocsTest() {
        const fs::path bin = folder_ / "build/release/bin";
        fs::create_directories(bin);
        fs::create_symlink(SCENARIO_DIR, folder_ / "scenarios");
        fs::create_symlink(HOST_BINARY, bin / "iosched-host");
        fs::create_directory(folder_ / "state");
        Run("iosched-host replay scenarios/cold_start_first.jsonl --data state");
        Write("usage.csv",
              "App,Time,Duration,App name,Start,Length\nMail,2024-05-01 12:34,90,Mail,2024-05-01 12:34,90\n"
              "Maps,2024-05-01 12:36,20,Maps,2024-05-01 12:36,20\n");
        for (const char* name : {"small.json", "large.json", "a.json", "b.json"}) {
            Write(name, R"({"parameters": {"zyra.boot.vendor.ddrsize": "4"}})");
        }
        for (const char* name : {"cold_start.jsonl", "day.jsonl"}) {
            fs::create_symlink(fs::path(SCENARIO_DIR) / "cold_start_first.jsonl", folder_ / name);
        }
    }

    // Runs the command, or looks for what it names. Returns whether it was run.
    bool Try(const std::string& command, std::string& output) const {
        if (std::regex_match(command, NOT_RUN)) {
            EXPECT_EQ(MissingIn(command), Lines()) << command;
            return false;
        }
        const Outcome outcome = Run(command);
        EXPECT_EQ(outcome.exitStatus, 0) << command << "\n" << outcome.output;
        output += outcome.output;
        return true;
    }

    Outcome Run(const std::string& command) const {
        return RunInShell("cd " + folder_.string() + " && export PATH=$PWD/build/release/bin:$PATH && " + command);
    }
};

TEST_F(DocsTest, CommandsDoWhatIsShown) {
    for (const Document& document : Documents()) {
        std::string output;
        bool isShown = false;  // All of the output is there.
        for (const Block& block : document.blocks) {
            SCOPED_TRACE(block.place);
            EXPECT_TRUE(std::regex_match(block.kind, KINDS)) << "\"" << block.kind << "\" is no kind of block";
            if (block.kind == "sh") {
                output.clear();
                isShown = true;
                for (const std::string& command : CommandsOf(block)) {
                    isShown = Try(command, output) && isShown;
                }
            } else if (block.kind == "text output") {
                EXPECT_TRUE(isShown) << "output of nothing";
                EXPECT_EQ(FirstMissing(block.lines, output), "") << output;
            } else if (block.kind == "text measured" && isShown) {
                EXPECT_EQ(FirstMissing(LinesOf(Shape(Joined(block.lines))), Shape(output)), "") << Shape(output);
            }
        }
    }
}

// An example of the help ends where two blanks are.
TEST_F(DocsTest, ExamplesOfTheHelpRun) {
    const std::string help = RunHost("--help").output;
    Lines commands{""};
    std::smatch match;
    for (const std::string& line : LinesOf(help.substr(help.rfind("ubcommands:")))) {
        if (std::regex_search(line, match, std::regex("^  ([a-z]+)  "))) {
            commands.push_back(match[1]);
        }
    }
    EXPECT_GT(commands.size(), 5u) << help;
    for (const std::string& command : commands) {
        const Lines lines = LinesOf(RunHost(command + " --help").output);
        ASSERT_EQ(lines.front(), "Examples:") << command;
        std::string output;
        for (size_t at = 1; !lines.at(at).empty(); ++at) {
            Try(std::regex_replace(lines[at].substr(2), std::regex("  .*"), ""), output);
        }
    }
}

TEST_F(DocsTest, InputsAreReadAndSourcesCompile) {
    const Outcome real = RunHost("replay " SCENARIO_DIR "/learning.jsonl --json " + (folder_ / "s.json").string());
    ASSERT_EQ(real.exitStatus, 0) << real.output;
    const json summary = json::parse(TextOf(folder_ / "s.json"));
    for (const Document& document : Documents()) {
        for (const Block& block : document.blocks) {
            SCOPED_TRACE(block.place);
            const std::string text = Joined(block.lines);
            InputError error;
            if (block.kind == "json model") {
                EXPECT_TRUE(LoadDeviceModel(Write("model.json", text), error)) << error.Text();
            } else if (block.kind == "json summary") {
                EXPECT_TRUE(IsPartOf(json::parse(text), summary)) << text;
            } else if (block.kind == "jsonl scenario") {
                const Outcome outcome = RunHost("replay " + Write("scenario.jsonl", text));
                EXPECT_EQ(outcome.exitStatus, 0) << outcome.output;
            } else if (block.kind.starts_with("jsonl journal ")) {
                const std::string name = block.kind.substr(block.kind.rfind(' ') + 1) + ".jsonl";
                EXPECT_EQ(FirstMissing(block.lines, TextOf(fs::path(SCENARIO_DIR) / "expected" / name)), "");
            } else if (block.kind == "cpp") {
                const Outcome outcome =
                    RunInShell(CXX_COMMAND " -fsyntax-only -I" + SOURCES.string() + " " + Write("source.cpp", text));
                EXPECT_EQ(outcome.exitStatus, 0) << outcome.output;
            }
        }
    }
}

// To files of the sources, and to headings within documents.
TEST_F(DocsTest, LinksLeadSomewhere) {
    std::map<std::string, std::set<std::string>> headings;
    for (const Document& document : Documents()) {
        for (const std::string& line : document.prose) {
            if (line.starts_with("#")) {
                std::string anchor = std::regex_replace(line, std::regex("^#+ |[^A-Za-z0-9_ -]"), "");
                std::transform(anchor.begin(), anchor.end(), anchor.begin(),
                               [](char c) { return c == ' ' ? '-' : static_cast<char>(std::tolower(c)); });
                headings[document.name].insert(anchor);
            }
        }
    }
    size_t links = 0;
    for (const Document& document : Documents()) {
        const std::string text = Joined(document.prose);
        static const std::regex LINK(R"(\]\(([^)#]*)(#([^)]*))?\))");
        for (std::sregex_iterator link(text.begin(), text.end(), LINK), end; link != end; ++link) {
            if ((*link)[1].str().starts_with("http")) {
                continue;
            }
            ++links;
            const std::string path = (*link)[1].str();
            const fs::path target = path.empty() ? fs::path(document.name)
                                                 : (fs::path(document.name).parent_path() / path).lexically_normal();
            EXPECT_TRUE(fs::exists(SOURCES / target)) << document.name << ": " << link->str();
            EXPECT_TRUE(!(*link)[2].matched || headings[target.string()].contains((*link)[3].str()))
                << document.name << ": " << link->str();
        }
    }
    EXPECT_GT(links, 20u);
}

}  // namespace
}  // namespace ZYRA::Host
