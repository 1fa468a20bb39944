// SPDX-License-Identifier: MIT
/**
 * @file
 * An XML document in memory, with the line numbers of its elements.
 */
#ifndef RYNVEL_MAPS_XMLDOCUMENT_H
#define RYNVEL_MAPS_XMLDOCUMENT_H

#include <cstddef>
#include <string>
#include <vector>

#include <pugixml.hpp>

#include "Diagnostics.h"

namespace Maps {

/** A parsed XML document. The parser does not expand entities that the document declares, and opens no file. */
class XmlDocument {
public:
    /** @param text the document in UTF-8. @throws MalformedMap if the text is not an XML document. */
    XmlDocument(std::string text, Warnings& warnings);
    XmlDocument(const XmlDocument&) = delete;
    XmlDocument& operator=(const XmlDocument&) = delete;

    pugi::xml_node root() const { return m_root; }

    /** Returns the number of the line on which the name of an element begins. */
    std::size_t lineOf(const pugi::xml_node& element) const;

private:
    std::size_t lineAt(std::ptrdiff_t offset) const;
    void parse();
    void findRoot(Warnings& warnings);

    std::string m_text;
    /** The offsets of the newline characters in the text. */
    std::vector<std::size_t> m_lineEnds;
    pugi::xml_document m_document;
    pugi::xml_node m_root;
};

} // namespace Maps

#endif
