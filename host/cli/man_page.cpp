// SPDX-License-Identifier: Apache-2.0
#include "host/cli/man_page.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <string_view>

#include "host/cli/exit_code.h"
#include "host/cli/help.h"

namespace ZYRA::Host {

namespace {

struct Entry {
    const char* name;
    const char* text;
};

// What no definition tells.
constexpr char DESCRIPTION[] =
    "The program loads the I/O scheduling plugin and gives it a device: the kernel's control files, the services of "
    "the "
    "platform and a clock of its own. The plugin and the virtual device live in a private mount namespace, so that "
    "nothing is left on the machine. Results are written on standard output, everything else on standard error.";

constexpr Entry ENVIRONMENT[] = {
    {"NO_COLOR", "If it is set and not empty, nothing is coloured. Colour is for terminals only."},
};

constexpr Entry FILES[] = {
    {"NAME.device.json", "The device model of the scenario NAME.jsonl beside it, unless another is named."},
    {"libio_sched_plugin.z.so",
     "The plugin: beside the program, or in the library folder of the installation that the program belongs to."},
    {"/dev/fuse", "Serves the kernel's control files of the virtual device."},
};

constexpr size_t WIDTH = 72;

constexpr int HIGHEST_EXIT_CODE = 255;

constexpr char SEE_ALSO[] = "unshare(1), mount_namespaces(7), user_namespaces(7), fuse(4)";

// Text that roff prints as it stands.
std::string Escaped(std::string_view text) {
    // The first character of a line could make a request of it.
    std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
    for (const char character : text) {
        switch (character) {
            case '\\':
                escaped += "\\e";
                break;
            case '-':
                escaped += "\\-";
                break;
            case '\'':
                escaped += "\\(aq";
                break;
            case '`':
                escaped += "\\(ga";
                break;
            case '^':
                escaped += "\\(ha";
                break;
            case '~':
                escaped += "\\(ti";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

std::string Bold(std::string_view text) {
    return "\\fB" + Escaped(text) + "\\fR";
}

std::string Italic(std::string_view text) {
    return text.empty() ? "" : "\\fI" + Escaped(text) + "\\fR";
}

// The words of a text on lines of their own, none of them long.
std::string Lines(const std::string& text) {
    std::string lines;
    std::string line;
    for (const std::string& word : CLI::detail::split(text, ' ')) {
        if (!line.empty() && line.size() + word.size() >= WIDTH) {
            lines += Escaped(line) + '\n';
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    return lines + Escaped(line) + '\n';
}

std::string Sentence(const std::string& text) {
    const bool isWhole = !text.empty() && std::string_view(".!?").find(text.back()) != std::string_view::npos;
    return Lines(isWhole ? text : text + '.');
}

bool TakesValue(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

std::string Tagged(const std::string& tag, const std::string& text) {
    return ".TP\n" + tag + '\n' + text;
}

// An option as it is written: every name, or the last one, and its value.
std::string Written(const CLI::Option& option, bool isShort) {
    std::vector<std::string> names = NamesOf(option);
    if (isShort) {
        names = {names.back()};
    }
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + Bold(name);
    }
    return TakesValue(option) ? text + ' ' + Italic(option.get_type_name()) : text;
}

std::string WrittenPositional(const CLI::Option& option) {
    const bool isRepeated = option.get_items_expected_max() > 1;
    return Italic(option.get_name(true)) + (isRepeated ? " ..." : "");
}

std::string Explained(const CLI::Option& option, const std::string& tag) {
    std::string text = Sentence(option.get_description());
    if (!option.get_default_str().empty()) {
        text += "Default: " + Bold(option.get_default_str()) + ".\n";
    }
    if (option.get_required() && option.nonpositional()) {
        text += "Required.\n";
    }
    return Tagged(tag, text);
}

std::string Usage(const CLI::App& app, const CLI::App& command) {
    std::string text = ".TP\n" + Bold(app.get_name() + ' ' + command.get_name());
    for (const CLI::Option* option : VisibleOptions(command)) {
        text += option->get_required() ? ' ' + Written(*option, true) : "";
    }
    text += " [" + Italic("OPTIONS") + ']';
    for (const CLI::Option* positional : VisiblePositionals(command)) {
        const std::string written = WrittenPositional(*positional);
        text += positional->get_required() ? ' ' + written : " [" + written + ']';
    }
    return text + '\n';
}

std::string ExampleEntries(const CLI::App& command) {
    std::string text;
    for (const Example& example : ExamplesOf(command)) {
        text += Tagged(Bold(example.command), example.meaning.empty() ? "" : Lines(example.meaning));
    }
    return text;
}

std::string CommandSection(const CLI::App& command) {
    std::string text = ".SS " + Escaped(command.get_name()) + '\n' + Sentence(command.get_description());
    const std::string examples = ExampleEntries(command);
    if (!examples.empty()) {
        text += ".PP\nExamples:\n.RS\n" + examples + ".RE\n";
    }
    text += ".PP\nArguments and options:\n.RS\n";
    for (const CLI::Option* positional : VisiblePositionals(command)) {
        text += Explained(*positional, WrittenPositional(*positional));
    }
    for (const CLI::Option* option : VisibleOptions(command)) {
        text += Explained(*option, Written(*option, false));
    }
    return text + ".RE\n";
}

// The phrase that follows the program's name in lists of manual pages.
std::string Phrase(std::string sentence) {
    if (!sentence.empty() && sentence.back() == '.') {
        sentence.pop_back();
    }
    std::transform(sentence.begin(), sentence.begin() + (sentence.empty() ? 0 : 1), sentence.begin(),
                   [](unsigned char first) { return std::tolower(first); });
    return sentence;
}

}  // namespace

std::string ManPage(const CLI::App& app) {
    std::string title = app.get_name();
    std::transform(title.begin(), title.end(), title.begin(), [](unsigned char c) { return std::toupper(c); });
    std::string text = ".TH " + Escaped(title) + " 1 \"\" \"" + Escaped(app.version()) + "\" \"User Commands\"\n";
    // Nothing that could be typed is broken or stretched.
    text += ".nh\n.ad l\n";
    text += ".SH NAME\n" + Escaped(app.get_name()) + " \\- " + Escaped(Phrase(app.get_description())) + '\n';
    text += ".SH SYNOPSIS\n";
    for (const CLI::App* command : VisibleCommands(app)) {
        text += Usage(app, *command);
    }
    text += ".SH DESCRIPTION\n" + Lines(DESCRIPTION);
    text += ".SH EXAMPLES\n" + ExampleEntries(app);
    text += ".SH OPTIONS\n";
    for (const CLI::Option* option : VisibleOptions(app)) {
        text += Explained(*option, Written(*option, false));
    }
    text += ".SH COMMANDS\n";
    for (const CLI::App* command : VisibleCommands(app)) {
        text += CommandSection(*command);
    }
    text += ".SH EXIT STATUS\n";
    for (int code = 0; code <= HIGHEST_EXIT_CODE; ++code) {
        const char* meaning = MeaningOf(static_cast<ExitCode>(code));
        text += meaning == nullptr ? "" : Tagged(Bold(std::to_string(code)), Lines(meaning));
    }
    text += ".SH ENVIRONMENT\n";
    for (const auto& [name, meaning] : ENVIRONMENT) {
        text += Tagged(Bold(name), Lines(meaning));
    }
    text += ".SH FILES\n";
    for (const auto& [name, meaning] : FILES) {
        text += Tagged(Italic(name), Lines(meaning));
    }
    return text + ".SH SEE ALSO\n" + Lines(SEE_ALSO);
}

}  // namespace ZYRA::Host
