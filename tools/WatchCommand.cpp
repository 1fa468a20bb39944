// SPDX-License-Identifier: MIT
#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include <unistd.h>

#include "Addresses.h"
#include "Commands.h"
#include "EventFormat.h"
#include "NumberArguments.h"
#include "OpenDevice.h"
#include "RegisterOptions.h"
#include "Terminal.h"
#include "TimeText.h"
#include "WatchTable.h"

namespace Rynvelctl {

namespace {

struct WatchOptions : DeviceOptions {
    std::vector<std::string> addresses;
    std::string interval = "1s";
    std::string count;
    std::string format;
    bool isCsv = false;
    bool plots = false;
    bool includesSideEffects = false;
};

/** Shows the samples of a watch. */
class WatchView {
public:
    WatchView() = default;
    WatchView(const WatchView&) = delete;
    WatchView& operator=(const WatchView&) = delete;
    virtual ~WatchView() = default;

    /**
     * Takes a reading of the current sample.
     *
     * @param position the position of the watched register or field, counted from 0.
     */
    virtual void take(std::size_t position, const Reading& reading) = 0;
    virtual void endSample() {}
    /** Waits until the next sample. */
    // Ends when standard output loses its reader, even in a file of commands, because a watch may have no other end.
    virtual void wait(const Common::Deadline& deadline) { Output::waitWithReader(deadline); }
};

/** Prints a line for each change. */
class ChangeLines : public WatchView {
public:
    using Print = std::function<void(const RegisterChange& change, const std::optional<Reading>& previous)>;

    ChangeLines(std::size_t count, Print print) : m_previous(count), m_print(std::move(print)) {}

    void take(std::size_t position, const Reading& reading) override {
        std::optional<Reading>& previous = m_previous[position];
        if (!previous || numberIn(*previous) != numberIn(reading)) {
            m_print(RegisterChange{reading, timeStamp()}, previous);
            previous.emplace(reading);
        }
    }

private:
    /** The previous reading of each watched register or field; none before the first sample. */
    std::vector<std::optional<Reading>> m_previous;
    const Print m_print;
};

/** Draws a table in place on the terminal. */
class TableView : public WatchView {
public:
    TableView(const Output& output, WatchTable table) : m_terminal(output), m_table(std::move(table)) {}
    TableView(const TableView&) = delete;
    TableView& operator=(const TableView&) = delete;

    // Draws a pending table, so that the terminal keeps the table of the last sample. Ignores a failure of the
    // terminal.
    ~TableView() override {
        try {
            if (m_isPending) {
                draw();
            }
        } catch (...) {
            m_isPending = false;
        }
    }

    void take(std::size_t position, const Reading& reading) override { m_table.take(position, reading); }

    void endSample() override {
        const Clock::time_point now = Clock::now();
        m_table.endSample(now);
        m_isPending = true;
        if (!m_lastDrawing || now - *m_lastDrawing >= shortestInterval) {
            m_lastDrawing = now;
            draw();
        }
    }

    void wait(const Common::Deadline& deadline) override {
        while (!m_terminal.wait(deadline)) {
            draw();
        }
    }

private:
    using Clock = std::chrono::steady_clock;
    /** A person cannot read a table that changes more often. */
    static constexpr std::chrono::milliseconds shortestInterval{50};

    void draw() {
        m_isPending = false;
        const TerminalSize size = m_terminal.size();
        m_terminal.draw(m_table.lines(size.columns, size.rows - 1));
    }

    Terminal m_terminal;
    WatchTable m_table;
    std::optional<Clock::time_point> m_lastDrawing;
    bool m_isPending = false;
};

/** Watched registers and fields. */
class Watch {
public:
    Watch(std::vector<Addressed> watched, OpenDevice& device, WatchView& view)
        : m_watched(std::move(watched)), m_device(device), m_view(view) {}

    /** Reads each register once, even if several fields of the register are watched. */
    void sample() {
        std::map<std::uint32_t, std::uint32_t> values;
        for (std::size_t i = 0; i < m_watched.size(); ++i) {
            const Addressed& each = m_watched[i];
            const auto known = values.find(each.range.index());
            const std::uint32_t value = known == values.end() ? m_device.read(each.range) : known->second;
            values[each.range.index()] = value;
            m_view.take(i, readingOf(each, value));
        }
        m_view.endSample();
    }

private:
    const std::vector<Addressed> m_watched;
    OpenDevice& m_device;
    WatchView& m_view;
};

std::vector<Addressed> watchedBy(const CommandContext& context, const Target& target, const WatchOptions& options) {
    Addresses addresses(context, target, options.unit());
    auto watched =
        readableBy(options.addresses, [&addresses](const std::string& text) { return addresses.findPart(text); });
    if (!options.includesSideEffects) {
        std::for_each(watched.begin(), watched.end(), [](const Addressed& each) { requireHarmlessRead(each); });
    }
    return watched;
}

ChangeLines::Print csvPrinter(const Output& output) {
    return [&output, isFirst = true](const RegisterChange& change, const auto& previous) mutable {
        const std::string header = std::exchange(isFirst, false) ? csvHeader + std::string("\n") : "";
        output.write(header + csvLine(textsOf(change, previous, output.base())) + '\n');
    };
}

/** Returns the function that prints a change. @param format the format that the user gives. */
ChangeLines::Print printerFor(const Output& output, const WatchOptions& options,
                              const std::optional<EventFormat>& format) {
    if (options.isCsv) {
        return csvPrinter(output);
    }
    if (format) {
        return [&output, line = *format](const RegisterChange& change, const auto& previous) {
            output.write(line.line(textsOf(change, previous, output.base())) + '\n');
        };
    }
    return [&output](const RegisterChange& change, const auto&) { output.print(change); };
}

std::unique_ptr<WatchView> viewFor(const CommandContext& context, const WatchOptions& options,
                                   const std::optional<EventFormat>& format) {
    const Output& output = context.output();
    const bool hasTracesOnTerminal = context.isTraced() && ::isatty(STDERR_FILENO) != 0;
    const bool printsLines = options.isCsv || format || output.format() != Format::Text || hasTracesOnTerminal;
    if (!printsLines && Terminal::isAvailable()) {
        const WatchTable::Style style{usesColor(context.color()), options.plots, isUtf8Selected(), output.base()};
        return std::make_unique<TableView>(output, WatchTable(options.name, options.addresses.size(), style));
    }
    return std::make_unique<ChangeLines>(options.addresses.size(), printerFor(output, options, format));
}

void requireTextFormatFor(const Output& output, const WatchOptions& options) {
    if (options.isCsv) {
        requireTextFormat(output, "--csv");
    }
    if (options.plots) {
        requireTextFormat(output, "--plot");
    }
}

void watch(const CommandContext& context, const WatchOptions& options) {
    requireTextFormatFor(context.output(), options);
    const auto format = parseFormat(context.output(), options.format, "watch", registerDirectives);
    const Target& target = context.target(options.name);
    const std::vector<Addressed> addressed = watchedBy(context, target, options);
    const auto interval = parsePositiveDuration("interval", options.interval);
    const std::uint32_t count = options.count.empty() ? 0 : parseCount("count", options.count);
    const auto device = context.open(target);
    for (const Addressed& each : addressed) {
        each.range.requireInside(device->mapSize());
    }
    const auto view = viewFor(context, options, format);
    Watch watched(addressed, *device, *view);
    watched.sample();
    for (std::uint32_t samples = 1; count == 0 || samples < count; ++samples) {
        view->wait(Common::Deadline::earlier(Common::Deadline(interval), context.timeout().deadline()));
        context.timeout().requireTimeLeft(target.name());
        watched.sample();
    }
}

} // namespace

void addWatchCommand(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<WatchOptions>();
    const Common::Command command = addCommand(
        program, chosen, "watch", "show registers and fields, and then their changes, until you interrupt the command",
        options, watch);
    command.addArgument("NAME", options->name, "the device");
    command.addArgument("ADDRESS", options->addresses,
                        "the byte addresses of the registers, names of registers and fields, or bits ADDRESS[7:4]");
    command.addOption("--interval", "TIME", options->interval, "the pause between two samples (default: 1s)");
    command.addOption("--count", "COUNT", options->count, "end after this number of samples (default: no end)");
    const auto format = addFormatOption(command, options->format, registerDirectives);
    const auto csv =
        command.addFlag("--csv", options->isCsv, "print comma-separated values, with a header line").excludes(format);
    command.addFlag("--plot", options->plots, "on a terminal, also plot the last values of each register")
        .excludes(format)
        .excludes(csv);
    addSideEffectsOption(command, options->includesSideEffects);
    addIndexOption(command, *options);
}

} // namespace Rynvelctl
