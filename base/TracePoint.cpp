// SPDX-License-Identifier: MIT
#include "TracePoint.h"

#include <algorithm>
#include <locale>

namespace Rynvel {

ArgumentNames::ArgumentNames(std::string_view names) : m_rest(names) {}

std::string_view ArgumentNames::next() {
    int depth = 0;
    std::size_t end = 0;
    for (; end < m_rest.size() && (depth > 0 || m_rest[end] != ','); ++end) {
        depth += (m_rest[end] == '(') - (m_rest[end] == ')');
    }
    const std::string_view name = m_rest.substr(0, end);
    m_rest.remove_prefix(std::min(m_rest.size(), end + std::string_view(", ").size()));
    return name;
}

TraceText::TraceText() { m_stream.imbue(std::locale::classic()); }

void EntryTrace::record(ZilTrace& channel, ZilTraceLevel level, const ZilTraceHeader& header) {
    const ErrnoSaver errnoSaver;
    channel.logEnterMsg(level, header);
}

MessageTrace::MessageTrace(ZilTrace& channel, ZilTraceLevel level, const ZilTraceHeader& header)
    : m_channel(channel), m_level(level), m_header(header) {}

} // namespace Rynvel
