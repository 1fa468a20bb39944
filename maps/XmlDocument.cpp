// SPDX-License-Identifier: MIT
#include "XmlDocument.h"

#include <algorithm>
#include <utility>

namespace Maps {

namespace {

constexpr unsigned int parseOptions =
    pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol | pugi::parse_doctype | pugi::parse_embed_pcdata;

std::vector<std::size_t> lineEndsIn(const std::string& text) {
    std::vector<std::size_t> ends;
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', end + 1)) {
        ends.push_back(end);
    }
    return ends;
}

} // namespace

XmlDocument::XmlDocument(std::string text, Warnings& warnings)
    : m_text(std::move(text)), m_lineEnds(lineEndsIn(m_text)) {
    const std::size_t nul = m_text.find('\0');
    if (nul != std::string::npos) {
        throw MalformedMap(lineAt(static_cast<std::ptrdiff_t>(nul)), "the file contains a NUL character");
    }
    parse();
    findRoot(warnings);
}

void XmlDocument::parse() {
    const auto result = m_document.load_buffer_inplace(m_text.data(), m_text.size(), parseOptions, pugi::encoding_utf8);
    if (!result) {
        throw MalformedMap(lineAt(result.offset),
                           std::string("the file is not well-formed XML: ") + result.description());
    }
}

void XmlDocument::findRoot(Warnings& warnings) {
    for (const pugi::xml_node& node : m_document.children()) {
        if (node.type() == pugi::node_doctype) {
            warnings.add(1, "the document type and its entities are not read");
        } else if (node.type() == pugi::node_element && m_root) {
            warnings.add(lineOf(node),
                         std::string("element '") + node.name() + "' after the end of the map is not used");
        } else if (node.type() == pugi::node_element) {
            m_root = node;
        }
    }
}

std::size_t XmlDocument::lineOf(const pugi::xml_node& element) const { return lineAt(element.offset_debug()); }

std::size_t XmlDocument::lineAt(std::ptrdiff_t offset) const {
    const auto position = static_cast<std::size_t>(std::max<std::ptrdiff_t>(offset, 0));
    const auto end = std::lower_bound(m_lineEnds.begin(), m_lineEnds.end(), position);
    return static_cast<std::size_t>(end - m_lineEnds.begin()) + 1;
}

} // namespace Maps
