// SPDX-License-Identifier: MIT
#include "MapReader.h"

#include <deque>
#include <system_error>
#include <utility>

#include "Consistency.h"
#include "DefinitionReader.h"
#include "Expansion.h"
#include "InputFile.h"
#include "TextEncoding.h"
#include "XmlDocument.h"

namespace Maps {

namespace {

std::string tooLarge(const Limits& limits) {
    return "the file has more than " + std::to_string(limits.bytes) + " bytes";
}

Device readDevice(std::string bytes, Warnings& warnings, const Limits& limits) {
    if (bytes.size() > limits.bytes) {
        throw MalformedMap(0, tooLarge(limits));
    }
    Utf8Text text = toUtf8(std::move(bytes));
    if (text.isGuessed) {
        warnings.add(0, "the file is not UTF-8, and was read as ISO-8859-1");
    }
    const XmlDocument document(std::move(text.text), warnings);
    std::deque<Definition> definitions;
    std::deque<std::string> texts;
    Source source{document, warnings, limits, definitions, texts};
    Device device = expand(readDefinitions(source), warnings, limits);
    checkConsistency(device, warnings);
    return device;
}

ReadMap failure(std::vector<Diagnostic> diagnostics, std::size_t line, const std::string& text) {
    diagnostics.push_back({Severity::Error, line, text});
    return {std::nullopt, std::move(diagnostics)};
}

} // namespace

ReadMap readMap(std::string bytes, const Limits& limits) {
    Warnings warnings(limits.warnings);
    try {
        Device device = readDevice(std::move(bytes), warnings, limits);
        return {std::move(device), warnings.inOrder()};
    } catch (const MalformedMap& error) {
        return failure(warnings.inOrder(), error.line(), error.what());
    }
}

ReadMap readMapFile(const std::string& name, const Limits& limits, const Common::Deadline& deadline) {
    try {
        return readMap(Common::readFile(name, limits.bytes, deadline), limits);
    } catch (const std::system_error& error) {
        return failure({}, 0, error.code().message());
    }
}

} // namespace Maps
