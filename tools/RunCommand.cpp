// SPDX-License-Identifier: MIT
#include <cerrno>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Commands.h"
#include "Failure.h"
#include "LineParser.h"
#include "LineReader.h"
#include "StandardDescriptors.h"

namespace Rynvelctl {

namespace {

struct RunOptions {
    std::string file;
    bool keepsGoing = false;
};

/** Runs lines with the same open devices. Prints the failure of a line with the number of the line. */
class Script {
public:
    Script(const CommandContext& context, const RunOptions& options)
        : m_context(context), m_options(options), m_lines(options.file, context.timeout(), context.output()) {}

    /** Runs each line as soon as it has arrived. Ends if standard output loses its reader. */
    void runEach() {
        while (!m_isOver) {
            const auto line = nextLine();
            if (!line) {
                return;
            }
            attempt(m_lines.number(), [&] { run(m_parser.parse(*line)); });
        }
    }

    /** Runs all lines, unless one of them is wrong. Continues if standard output loses its reader. */
    void runAll() {
        m_context.output().deferFailures();
        const std::vector<Line> lines = parseAll();
        if (m_firstFailure) {
            return;
        }
        for (const Line& line : lines) {
            if (!m_isOver) {
                attempt(line.number, [&] { run(line.action); });
            }
        }
    }

    /** @throws ExitWithStatus if a line has failed, or if a line of the output is lost. */
    void requireSuccess() const {
        if (m_firstFailure) {
            throw ExitWithStatus{*m_firstFailure};
        }
        if (m_hasLostOutput) {
            throw ExitWithStatus{ExitStatus::Failed};
        }
    }

private:
    struct Line {
        std::size_t number;
        Action action;
    };

    /** Returns the next line; none after the last line, after a failure, and without a reader of standard output. */
    std::optional<std::string> nextLine() {
        try {
            return m_lines.next();
        } catch (const OutputClosed&) {
            return std::nullopt;
        } catch (const Failure& failure) {
            keep(failure.status(), failure.what());
            return std::nullopt;
        }
    }

    std::vector<Line> parseAll() {
        std::vector<Line> lines;
        while (const auto line = nextLine()) {
            attempt(m_lines.number(), [&] {
                if (Action action = m_parser.parse(*line)) {
                    lines.push_back({m_lines.number(), std::move(action)});
                }
            });
            // Ends here, because a file with a line that is too long may be endless, like /dev/zero.
            if (line->size() > longestLine) {
                break;
            }
        }
        return lines;
    }

    void run(const Action& action) const {
        if (action) {
            requireTimeLeft();
            perform(action, m_context);
        }
    }

    void requireTimeLeft() const {
        if (m_context.timeout().deadline().hasPassed()) {
            throw Failure(ExitStatus::TimedOut, "timed out after " + m_context.timeout().limitText() +
                                                    " (this line and the lines after it were not run)");
        }
    }

    template <typename Step>
    void attempt(std::size_t number, const Step& step) {
        const ErrorPrefix prefix(m_options.file + ':' + std::to_string(number) + ": ");
        try {
            step();
        } catch (const OutputClosed&) {
            loseOutput(outputFailure(EPIPE));
        } catch (const ExitWithStatus& end) {
            keep(end.status, "the command ended with status " + std::to_string(static_cast<int>(end.status)));
        } catch (...) {
            const Failure failure = caughtFailure();
            keep(failure.status(), failure.what());
        }
        if (const auto& deferred = m_context.output().deferredFailure()) {
            loseOutput(*deferred);
        }
    }

    void keep(ExitStatus status, const std::string& text) {
        printError(text);
        m_firstFailure = m_firstFailure.value_or(status);
        const bool isTimeOver = status == ExitStatus::TimedOut && m_context.timeout().deadline().hasPassed();
        m_isOver = m_isOver || !m_options.keepsGoing || isTimeOver;
    }

    void loseOutput(const Failure& failure) {
        if (!std::exchange(m_hasLostOutput, true)) {
            printError(failure.what());
        }
        m_isOver = m_isOver || m_options.file == standardInput;
    }

    const CommandContext& m_context;
    const RunOptions& m_options;
    LineReader m_lines;
    LineParser m_parser;
    std::optional<ExitStatus> m_firstFailure;
    bool m_hasLostOutput = false;
    bool m_isOver = false;
};

void run(const CommandContext& context, const RunOptions& options) {
    Script script(context, options);
    if (options.file == standardInput) {
        context.takeStandardInput("run");
        script.runEach();
    } else {
        script.runAll();
    }
    script.requireSuccess();
}

} // namespace

void addRunCommand(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<RunOptions>();
    const Common::Command command = addCommand(
        program, chosen, "run", "run the commands of a file, one per line, and keep the devices open", options, run);
    command.addArgument("FILE", options->file, "the file of commands; - is standard input");
    command.addFlag("--keep-going", options->keepsGoing, "also run the lines after a failed line");
}

} // namespace Rynvelctl
