// SPDX-License-Identifier: MIT
#include "SoakAudit.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <utility>

#include <gtest/gtest.h>

#include "AuditLines.h"
#include "BecomesTrue.h"

namespace RynvelTest {

namespace {

/** Returns the text between `before` and the next `end`; empty if there is none. */
std::string_view textAfter(std::string_view line, std::string_view before, char end) {
    const std::size_t found = line.find(before);
    if (found == std::string_view::npos) {
        return {};
    }
    const std::string_view rest = line.substr(found + before.size());
    return rest.substr(0, rest.find(end));
}

std::uint64_t numberAfter(std::string_view line, std::string_view before) {
    const std::size_t found = line.find(before);
    return found == std::string_view::npos ? UINT64_MAX
                                           : std::strtoull(line.data() + found + before.size(), nullptr, 10);
}

bool endsWith(std::string_view line, std::string_view end) {
    return line.size() >= end.size() && line.substr(line.size() - end.size()) == end;
}

} // namespace

SoakAudit::SoakAudit(std::string path, const std::string& device)
    : m_path(std::move(path)), m_write(R"("operation":"write","device":")" + device + "\",") {}

void SoakAudit::saw(std::uint16_t port) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_seen[port];
}

void SoakAudit::rotate(const RynveldProcess& server) {
    const std::string rotated = m_path + ".1";
    std::filesystem::rename(m_path, rotated);
    EXPECT_EQ(::kill(server.pid(), SIGHUP), 0);
    // The server writes no line while it opens the new file, and then writes only to the new file. The renamed file is
    // therefore complete when the new file exists.
    EXPECT_TRUE(becomesTrue([this] { return std::filesystem::exists(m_path); }));
    check(rotated);
    std::filesystem::remove(rotated);
}

void SoakAudit::check(const std::string& path) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        EXPECT_FALSE(file.eof()) << "the last line is incomplete: " << line;
        checkLine(line);
    }
}

void SoakAudit::checkLine(const std::string& line) {
    checkNumber(line);
    EXPECT_FALSE(membersOf(line).empty()) << line;
    if (line.find(m_write) == std::string::npos || !endsWith(line, R"("result":"done"})")) {
        return;
    }
    const std::uint64_t count = numberAfter(line, R"("count":)");
    if (count == 2) {
        checkOrderOfConnection(line);
    } else if (numberAfter(line, R"("address":)") == sharedAddress) {
        checkOrderOfRegister(line);
    }
}

void SoakAudit::checkNumber(std::string_view line) { EXPECT_EQ(numberAfter(line, R"({"number":)"), ++m_lines) << line; }

void SoakAudit::checkOrderOfConnection(std::string_view line) {
    const auto port = static_cast<std::uint16_t>(numberAfter(line, R"("peer":"127.0.0.1:)"));
    const auto value = static_cast<std::uint32_t>(numberAfter(line, R"("values":[)"));
    Connection& connection = m_connections[port];
    EXPECT_TRUE(value == connection.next || value == 0) << line;
    connection.next = value + 1;
    ++connection.writes;
}

void SoakAudit::checkOrderOfRegister(std::string_view line) {
    const std::string_view old = textAfter(line, R"("old":[)", ']');
    EXPECT_TRUE(m_lastValue.empty() || old == m_lastValue) << line;
    m_lastValue = textAfter(line, R"("new":[)", ']');
    EXPECT_FALSE(m_lastValue.empty()) << line;
}

void SoakAudit::expectAllWrites() {
    check(m_path);
    std::uint64_t total = 0;
    for (const auto& [port, count] : m_seen) {
        EXPECT_EQ(m_connections[port].writes, count) << "port " << port;
        total += count;
    }
    EXPECT_EQ(m_connections.size(), m_seen.size());
    EXPECT_FALSE(m_lastValue.empty());
    std::cout << m_lines << " lines in the audit, with " << total << " writes that clients saw done" << std::endl;
}

} // namespace RynvelTest
