// SPDX-License-Identifier: MIT
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "Failure.h"
#include "LineParser.h"
#include "LineReader.h"

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
        : m_context(context), m_options(options), m_lines(options.file, context.timeout()) {}

    /** Runs each line as soon as it has arrived. */
    void runEach() {
        while (!isOver()) {
            const auto line = nextLine();
            if (!line) {
                return;
            }
            attempt(m_lines.number(), [&] { run(m_parser.parse(*line)); });
        }
    }

    /** Runs the lines if all of them are commands. */
    void runAll() {
        const std::vector<Line> lines = parseAll();
        if (m_firstFailure) {
            return;
        }
        for (const Line& line : lines) {
            if (!isOver()) {
                attempt(line.number, [&] { run(line.action); });
            }
        }
    }

    /** @throws SilentEnd if a line has failed. */
    void requireSuccess() const {
        if (m_firstFailure) {
            throw SilentEnd{*m_firstFailure};
        }
    }

private:
    struct Line {
        std::size_t number;
        Action action;
    };

    /** Returns the next line; none after the last line, and after a failure. */
    std::optional<std::string> nextLine() {
        try {
            return m_lines.next();
        } catch (const Failure& failure) {
            keep(failure.status(), failure.what());
            return std::nullopt;
        }
    }

    std::vector<Line> parseAll() {
        std::vector<Line> lines;
        while (const auto line = nextLine()) {
            attempt(m_lines.number(), [&] { lines.push_back({m_lines.number(), m_parser.parse(*line)}); });
        }
        return lines;
    }

    void run(const Action& action) const {
        if (action) {
            perform(action, m_context);
        }
    }

    template <typename Step>
    void attempt(std::size_t number, const Step& step) {
        try {
            step();
        } catch (const OutputClosed&) {
            throw;
        } catch (const SilentEnd& end) {
            keep(end.status,
                 prefixOf(number) + "the command ended with status " + std::to_string(static_cast<int>(end.status)));
        } catch (...) {
            const Failure failure = caughtFailure();
            keep(failure.status(), prefixOf(number) + failure.what());
        }
    }

    std::string prefixOf(std::size_t number) const { return m_options.file + ':' + std::to_string(number) + ": "; }

    void keep(ExitStatus status, const std::string& text) {
        printError(text);
        m_firstFailure = m_firstFailure.value_or(status);
    }

    bool isOver() const {
        return m_firstFailure && (!m_options.keepsGoing || m_context.timeout().deadline().hasPassed());
    }

    const CommandContext& m_context;
    const RunOptions& m_options;
    LineReader m_lines;
    LineParser m_parser;
    std::optional<ExitStatus> m_firstFailure;
};

void run(const CommandContext& context, const RunOptions& options) {
    Script script(context, options);
    if (options.file == standardInput) {
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
