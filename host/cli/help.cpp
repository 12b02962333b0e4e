// SPDX-License-Identifier: Apache-2.0
#include "host/cli/help.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <sstream>

namespace ZYRA::Host {

namespace {

class ExamplesFirst final : public CLI::Formatter {
public:
    explicit ExamplesFirst(std::string examples) : examples_(std::move(examples)) {}

    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override {
        return "Examples:\n" + examples_ + '\n' + CLI::Formatter::make_help(app, std::move(name), mode);
    }

    const std::string& Examples() const { return examples_; }

private:
    const std::string examples_;
};

}  // namespace

void SetExamples(CLI::App& command, const std::string& examples) {
    command.formatter(std::make_shared<ExamplesFirst>(examples));
}

std::vector<Example> ExamplesOf(const CLI::App& command) {
    // A command that was given none has the formatter of its parent.
    const auto formatter = std::dynamic_pointer_cast<ExamplesFirst>(command.get_formatter());
    const CLI::App* parent = command.get_parent();
    if (formatter == nullptr || (parent != nullptr && parent->get_formatter() == formatter)) {
        return {};
    }
    std::vector<Example> examples;
    std::istringstream lines(formatter->Examples());
    for (std::string line; std::getline(lines, line);) {
        line = CLI::detail::trim(line);
        const size_t end = line.find("  ");
        examples.push_back(
            {line.substr(0, end), end == std::string::npos ? "" : CLI::detail::trim_copy(line.substr(end))});
    }
    return examples;
}

std::vector<const CLI::App*> VisibleCommands(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

std::vector<const CLI::Option*> VisibleOptions(const CLI::App& command) {
    return command.get_options(
        [](const CLI::Option* option) { return option->nonpositional() && !option->get_group().empty(); });
}

std::vector<const CLI::Option*> VisiblePositionals(const CLI::App& command) {
    return command.get_options(
        [](const CLI::Option* option) { return option->get_positional() && !option->get_group().empty(); });
}

std::vector<std::string> NamesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

}  // namespace ZYRA::Host
