// SPDX-License-Identifier: Apache-2.0
// Run by the build: make_command_docs man|bash FILE writes the manual page of the command line, or its completion in
// bash.

#include <cstdio>
#include <exception>
#include <fstream>
#include <string>

#include "host/cli/bash_completion.h"
#include "host/cli/command_line.h"
#include "host/cli/exit_code.h"
#include "host/cli/man_page.h"

namespace ZYRA::Host {

namespace {

int Make(const std::string& kind, const std::string& file) {
    const CommandLine commandLine;
    const bool isManPage = kind == "man";
    std::ofstream out(file, std::ios::trunc);
    out << (isManPage ? ManPage(commandLine.Definitions()) : BashCompletion(commandLine.Definitions()));
    out.close();
    if (!out) {
        std::fprintf(stderr, "make_command_docs: %s: cannot be written\n", file.c_str());
        return EXIT_RUN_FAILED;
    }
    return EXIT_DONE;
}

}  // namespace

}  // namespace ZYRA::Host

int main(int argc, char** argv) {
    const std::string kind = argc == 3 ? argv[1] : "";
    if (kind != "man" && kind != "bash") {
        std::fputs("usage: make_command_docs man|bash FILE\n", stderr);
        return ZYRA::Host::EXIT_BAD_INPUT;
    }
    try {
        return ZYRA::Host::Make(kind, argv[2]);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "make_command_docs: %s\n", exception.what());
        return ZYRA::Host::EXIT_RUN_FAILED;
    }
}
