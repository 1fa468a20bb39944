// SPDX-License-Identifier: MIT
#include "MetricText.h"

namespace Rynveld {

namespace {

const char* typeWord(MetricText::Type type) {
    switch (type) {
    case MetricText::Type::Counter:
        return "counter";
    case MetricText::Type::Gauge:
        return "gauge";
    case MetricText::Type::Histogram:
        return "histogram";
    }
    return "untyped";
}

std::string quotedLabel(const std::string& value) {
    std::string text = "\"";
    for (const char character : value) {
        if (character == '\n') {
            text += "\\n";
            continue;
        }
        if (character == '"' || character == '\\') {
            text += '\\';
        }
        text += character;
    }
    return text + '"';
}

std::string labelsText(const Labels& labels) {
    std::string text;
    for (const auto& [name, value] : labels) {
        text += (text.empty() ? '{' : ',') + name + '=' + quotedLabel(value);
    }
    return text.empty() ? text : text + '}';
}

} // namespace

void MetricText::addMetric(const std::string& name, Type type, const std::string& help) {
    m_name = name;
    m_text += "# HELP " + name + ' ' + help + "\n# TYPE " + name + ' ' + typeWord(type) + '\n';
}

void MetricText::addSample(const std::string& suffix, const Labels& labels, const std::string& value) {
    m_text += m_name + suffix + labelsText(labels) + ' ' + value + '\n';
}

} // namespace Rynveld
