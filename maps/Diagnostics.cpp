// SPDX-License-Identifier: MIT
#include "Diagnostics.h"

#include "Count.h"

namespace Maps {

std::string render(const std::string& file, const Diagnostic& diagnostic) {
    const std::string location = diagnostic.line == 0 ? "" : ":" + std::to_string(diagnostic.line);
    const std::string severity = diagnostic.severity == Severity::Error ? "error" : "warning";
    return file + location + ": " + severity + ": " + diagnostic.text;
}

void Warnings::add(std::size_t line, const std::string& text) {
    if (m_warnings.size() < m_most) {
        m_warnings.emplace(line, text);
    } else if (m_warnings.count({line, text}) == 0) {
        ++m_further;
    }
}

std::vector<Diagnostic> Warnings::inOrder() const {
    std::vector<Diagnostic> diagnostics;
    for (const auto& [line, text] : m_warnings) {
        diagnostics.push_back({Severity::Warning, line, text});
    }
    if (m_further > 0) {
        diagnostics.push_back(
            {Severity::Warning, 0,
             Common::counted(m_further, "further warning") + (m_further == 1 ? " is" : " are") + " not shown"});
    }
    return diagnostics;
}

} // namespace Maps
