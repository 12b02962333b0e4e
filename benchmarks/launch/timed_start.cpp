// SPDX-License-Identifier: Apache-2.0
// Starts a program cold, warm, and cold with commands that read files ahead, in turn, and measures the waits as
// iosched-host launch does.

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/launch/cold_start.h"
#include "host/launch/held_program.h"
#include "host/launch/launch_machine.h"
#include "host/launch/program_command.h"
#include "host/launch/program_output.h"

namespace ZYRA::Host {
namespace {

using OrderedJson = nlohmann::ordered_json;

constexpr int64_t US_PER_MS = 1000;
// For what the disks still deliver after the end of a start.
constexpr std::chrono::milliseconds DISK_SETTLE{50};

struct Failure {
    std::string text;
};

// What reads ahead, by the name that its starts have in the result.
struct Helper {
    std::string name;
    ProgramCommand command;
};

ProgramCommand Find(const std::vector<std::string>& words) {
    std::string error;
    if (auto command = FindProgram(words, error)) {
        return *std::move(command);
    }
    throw Failure{error};
}

// NAME=WORD... with blanks between the words.
Helper ParseHelper(const std::string& text) {
    const size_t sign = text.find('=');
    std::istringstream rest(sign == std::string::npos ? "" : text.substr(sign + 1));
    const std::vector<std::string> words{std::istream_iterator<std::string>(rest), {}};
    if (sign == 0 || words.empty()) {
        throw Failure{"'" + text + "' is not NAME=COMMAND"};
    }
    return {text.substr(0, sign), Find(words)};
}

class Starter {
public:
    Starter(LaunchMachine& machine, ProgramCommand program, int64_t headStartUs)
        : machine_(machine), program_(std::move(program)), headStartUs_(headStartUs) {}

    // One start, of which `samples` gets what came.
    void Start(bool isCold, const Helper* helper, OrderedJson& samples) {
        const auto output = ProgramOutput::Create();
        if (output == nullptr) {
            throw Failure{"cannot keep the program's output"};
        }
        std::string error;
        if (isCold && !cold_.Make(error)) {
            throw Failure{error};
        }
        // What reads ahead is held as well: making its process is no part of the wait.
        const auto reading = helper == nullptr ? nullptr : Hold(helper->command, *output);
        const auto program = Hold(program_, *output);
        const auto bytesBefore = machine_.BytesReadFromDisks();
        int64_t wantedAtUs = MonotonicUs();
        if (reading != nullptr) {
            LetGo(*reading);
            wantedAtUs += headStartUs_;
            std::this_thread::sleep_for(std::chrono::microseconds(wantedAtUs - MonotonicUs()));
        }
        LetGo(*program);
        const ProcessEnd end = *program->Wait(std::nullopt);
        if (reading != nullptr && reading->Wait(std::nullopt)->status != 0) {
            output->PassThrough();
            throw Failure{helper->name + " failed"};
        }
        std::this_thread::sleep_for(DISK_SETTLE);
        const auto bytesAfter = machine_.BytesReadFromDisks();
        samples.push_back(
            {{"waitUs", end.atUs - wantedAtUs},
             {"bytesRead", bytesBefore && bytesAfter ? OrderedJson(*bytesAfter - *bytesBefore) : OrderedJson(nullptr)},
             {"status", end.status}});
    }

private:
    std::unique_ptr<HeldProgram> Hold(const ProgramCommand& command, const ProgramOutput& output) const {
        std::string error;
        auto held = HeldProgram::Fork([this] { return machine_.EnterInChild(); }, command, output, error);
        return held != nullptr ? std::move(held) : throw Failure{error};
    }
    static void LetGo(HeldProgram& held) {
        if (std::string error; !held.Go(error)) {
            throw Failure{error};
        }
    }

    LaunchMachine& machine_;
    const ProgramCommand program_;
    const int64_t headStartUs_;
    ColdStart cold_;
};

void Run(const std::vector<std::string>& words, const std::vector<std::string>& helperTexts, int runs,
         int64_t headStartMs, const std::string& jsonFile) {
    std::vector<Helper> helpers;
    for (const std::string& text : helperTexts) {
        helpers.push_back(ParseHelper(text));
    }
    std::string error;
    const auto machine = LaunchMachine::TakeHold(error);
    if (machine == nullptr) {
        throw Failure{error};
    }
    Starter starter(*machine, Find(words), headStartMs * US_PER_MS);
    OrderedJson starts;
    for (int run = 0; run < runs; ++run) {
        starter.Start(true, nullptr, starts["cold"]["samples"]);
        starter.Start(false, nullptr, starts["warm"]["samples"]);
        for (const Helper& helper : helpers) {
            starter.Start(true, &helper, starts[helper.name]["samples"]);
        }
    }
    const std::string text = OrderedJson{{"command", words}, {"starts", starts}}.dump(2) + '\n';
    std::ofstream file;
    if (!jsonFile.empty()) {
        file.open(jsonFile);
    }
    if (!((jsonFile.empty() ? std::cout : file) << text).flush()) {
        throw Failure{jsonFile + ": cannot be written"};
    }
}

}  // namespace
}  // namespace ZYRA::Host

int main(int argc, char** argv) {
    int runs = 5;
    int64_t headStartMs = 0;
    std::vector<std::string> program;
    std::vector<std::string> helpers;
    std::string jsonFile;
    CLI::App app("Starts of a program, cold, warm, and with files read ahead by other means. Needs root.");
    app.add_option("-n,--runs", runs)->check(CLI::Range(1, 1000));
    app.add_option("--head-start", headStartMs, "By how many ms what reads ahead is earlier")
        ->check(CLI::Range(0, 5000));
    app.add_option("--with", helpers, "NAME=COMMAND: what reads ahead, in words without blanks; may be repeated")
        ->take_all()
        ->allow_extra_args(false);
    app.add_option("--json", jsonFile, "Where to write the result, in place of standard output");
    app.add_option("PROGRAM", program, "The program and its arguments, after --")->required();
    CLI11_PARSE(app, argc, argv);
    try {
        ZYRA::Host::Run(program, helpers, runs, headStartMs, jsonFile);
        return EXIT_SUCCESS;
    } catch (const ZYRA::Host::Failure& failure) {
        std::fprintf(stderr, "timed_start: %s\n", failure.text.c_str());
        return EXIT_FAILURE;
    }
}
