// SPDX-License-Identifier: MIT
#include "Sinks.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <system_error>

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include "LineFormat.h"
#include "WriteLine.h"

namespace ZilTraceControl {

Sink::~Sink() = default;

} // namespace ZilTraceControl

namespace ziltrace {

namespace {

using ZilTraceControl::Record;
using ZilTraceControl::Sink;

class DescriptorSink : public Sink {
public:
    explicit DescriptorSink(int descriptor) : m_descriptor(descriptor) {}

    void write(const Record& record) override { writeLine(m_descriptor, formatLine(record)); }

protected:
    const int m_descriptor;
};

class FileSink : public DescriptorSink {
public:
    using DescriptorSink::DescriptorSink;
    ~FileSink() override { close(m_descriptor); }

    FileSink(const FileSink&) = delete;
    FileSink& operator=(const FileSink&) = delete;
};

class SyslogSink : public Sink {
public:
    void write(const Record& record) override { syslog(priorityOf(record.level), "%s", formatMessage(record).c_str()); }

private:
    // The table omits LOG_ALERT and LOG_EMERG, because syslog daemons show messages of these priorities on every
    // terminal.
    static int priorityOf(ZilTraceLevel level) {
        static constexpr std::array<int, 8> priorities{LOG_CRIT, LOG_ERR,  LOG_WARNING, LOG_NOTICE,
                                                       LOG_INFO, LOG_INFO, LOG_DEBUG,   LOG_DEBUG};
        return priorities[static_cast<std::size_t>(std::clamp(level, 0, 7))];
    }
};

std::unique_ptr<Sink> openFileSink(const std::string& path, std::string& error) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0644);
    if (descriptor == -1) {
        error = itemError("sink=file:" + path, std::system_category().message(errno));
        return nullptr;
    }
    return std::make_unique<FileSink>(descriptor);
}

} // namespace

std::unique_ptr<Sink> makeStderrSink() { return std::make_unique<DescriptorSink>(STDERR_FILENO); }

std::unique_ptr<Sink> makeSink(const SinkChoice& choice, std::string& error) {
    switch (choice.kind) {
    case SinkChoice::Kind::File:
        return openFileSink(choice.path, error);
    case SinkChoice::Kind::Syslog:
        return std::make_unique<SyslogSink>();
    default:
        return makeStderrSink();
    }
}

} // namespace ziltrace
