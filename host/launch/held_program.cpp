// SPDX-License-Identifier: Apache-2.0
#include "host/launch/held_program.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "host/replay/printable.h"
#include "host/runtime/retry_on_eintr.h"

namespace ZYRA::Host {

namespace {

// What the child tells: that it is held, or the step that failed.
enum class HoldStep : int32_t { HELD, MACHINE, GROUP, INPUT, OUTPUT, EXECUTE };

std::string FailureText(HoldStep step, int error, const std::string& executable) {
    const std::string reason = error != 0 ? std::string(": ") + std::strerror(error) : "";
    switch (step) {
        case HoldStep::HELD:
            break;
        case HoldStep::MACHINE:
            return "cannot return to the machine from the sandbox" + reason + "; run as root";
        case HoldStep::GROUP:
            return "cannot make a process group" + reason;
        case HoldStep::INPUT:
            return "cannot take /dev/null as a program's input" + reason;
        case HoldStep::OUTPUT:
            return "cannot redirect a program's output" + reason;
        case HoldStep::EXECUTE:
            // Its own absence would have shown earlier.
            const char* advice = error == ENOENT    ? "; is the interpreter that it names missing?"
                                 : error == ENOEXEC ? "; start a script through its interpreter"
                                                    : "";
            return "cannot execute " + Quoted(executable) + reason + advice;
    }
    return "a process ended before it was to start " + Quoted(executable);
}

std::string FailureText(const std::optional<ChildReport::Message>& message, const std::string& executable) {
    return message ? FailureText(static_cast<HoldStep>(message->step), message->error, executable)
                   : FailureText(HoldStep::HELD, 0, executable);
}

// The child's side; every call is async-signal-safe.
struct ChildSide {
    const std::function<bool()>& enterMachine;
    const ChildReport& report;
    const char* executable;
    char* const* arguments;
    char* const* environment;
    int output;
    int errors;
    int go;
    int parentsGo;

    // Returns the exit status of a child that did not become the program.
    int Run() const {
        close(parentsGo);
        errno = 0;
        if (!enterMachine()) {
            return Failed(HoldStep::MACHINE);
        }
        if (setpgid(0, 0) != 0) {
            return Failed(HoldStep::GROUP);
        }
        const int input = RetryOnEintr([] { return open("/dev/null", O_RDONLY | O_CLOEXEC); });
        if (input < 0 || (input != STDIN_FILENO && dup2(input, STDIN_FILENO) < 0) ||
            fcntl(STDIN_FILENO, F_SETFD, 0) != 0) {
            return Failed(HoldStep::INPUT);
        }
        if (dup2(output, STDOUT_FILENO) < 0 || dup2(errors, STDERR_FILENO) < 0) {
            return Failed(HoldStep::OUTPUT);
        }
        report.Tell(static_cast<int32_t>(HoldStep::HELD), 0);
        char word = 0;
        // The connection ends when the host does.
        if (RetryOnEintr([&] { return read(go, &word, 1); }) != 1) {
            return EXIT_FAILURE;
        }
        execve(executable, arguments, environment);
        return Failed(HoldStep::EXECUTE);
    }

    int Failed(HoldStep step) const {
        report.Tell(static_cast<int32_t>(step), errno);
        return EXIT_FAILURE;
    }
};

}  // namespace

std::unique_ptr<HeldProgram> HeldProgram::Fork(const std::function<bool()>& enterMachine, const ProgramCommand& command,
                                               const ProgramOutput& output, std::string& error) {
    std::unique_ptr<HeldProgram> program(new HeldProgram);
    program->executable_ = command.executable;
    std::vector<std::string> texts = command.arguments;
    std::vector<char*> arguments;
    arguments.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        arguments.push_back(text.data());
    }
    arguments.push_back(nullptr);
    UniqueFd go;
    if (!program->report_.Open() || !OpenSockets(go, program->go_) || prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) {
        error = std::string("cannot prepare a process: ") + std::strerror(errno);
        return nullptr;
    }
    const ChildSide side = {enterMachine,
                            program->report_,
                            program->executable_.c_str(),
                            arguments.data(),
                            environ,
                            output.Descriptor(OutputStream::OUT),
                            output.Descriptor(OutputStream::ERR),
                            go.Get(),
                            program->go_.Get()};
    program->olderChildren_ = Children();
    program->process_ = ChildProcess::Fork([&side] { return side.Run(); });
    if (program->process_ == nullptr) {
        error = std::string("cannot make a process: ") + std::strerror(errno);
        return nullptr;
    }
    const auto message = program->report_.Next();
    if (!message || static_cast<HoldStep>(message->step) != HoldStep::HELD) {
        error = FailureText(message, program->executable_);
        return nullptr;
    }
    program->isHeld_ = true;
    return program;
}

HeldProgram::~HeldProgram() {
    if (isHeld_) {
        process_->KillGroup();
        KillChildrenBut(olderChildren_);
    }
}

std::optional<int64_t> HeldProgram::Go(std::string& error) {
    const int64_t startUs = MonotonicUs();
    const char word = 1;
    // A child that is gone shows in what it told; the host must not get a signal for it.
    const bool isLetGo = RetryOnEintr([&] { return send(go_.Get(), &word, 1, MSG_NOSIGNAL); }) == 1;
    const auto message = report_.Next();
    if (!isLetGo || message) {
        error = FailureText(message, executable_);
        return std::nullopt;
    }
    return startUs;
}

}  // namespace ZYRA::Host
