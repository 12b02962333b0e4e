// SPDX-License-Identifier: Apache-2.0
#include "host/cli/help.h"

#include <CLI/CLI.hpp>
#include <memory>

namespace ZYRA::Host {

namespace {

class ExamplesFirst final : public CLI::Formatter {
public:
    explicit ExamplesFirst(std::string examples) : examples_(std::move(examples)) {}

    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override {
        return "Examples:\n" + examples_ + '\n' + CLI::Formatter::make_help(app, std::move(name), mode);
    }

private:
    const std::string examples_;
};

}  // namespace

void SetExamples(CLI::App& command, const std::string& examples) {
    command.formatter(std::make_shared<ExamplesFirst>(examples));
}

}  // namespace ZYRA::Host
