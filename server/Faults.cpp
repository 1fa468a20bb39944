// SPDX-License-Identifier: MIT
#include "Faults.h"

#include "Duration.h"
#include "Number.h"

namespace Rynveld {

namespace {

/** Returns a decimal count from 1 to 999999; empty for any other text. */
std::optional<std::uint32_t> parseCount(const std::string& text) {
    constexpr Common::NumberFormat sixDigits{false, false, 6};
    const auto count = Common::parseNumber(text, sixDigits);
    return count != 0U ? count : std::nullopt;
}

std::optional<Fault> parseTimed(Fault::Kind kind, const std::string& text) {
    const auto time = Common::parseDuration(text);
    return time && time->count() > 0 ? std::optional<Fault>({kind, *time, 1}) : std::nullopt;
}

std::optional<Fault> parseKind(const std::string& text) {
    const auto equals = text.find('=') + 1;
    const std::string name = text.substr(0, equals == 0 ? std::string::npos : equals);
    if (name == "delay=") {
        return parseTimed(Fault::Kind::Delay, text.substr(equals));
    }
    if (name == "split=") {
        return parseTimed(Fault::Kind::Split, text.substr(equals));
    }
    if (name == "error") {
        return Fault{Fault::Kind::Error, {}, 1};
    }
    if (name == "disconnect") {
        return Fault{Fault::Kind::Disconnect, {}, 1};
    }
    return std::nullopt;
}

void add(InjectedFaults& injected, const Fault& fault) {
    switch (fault.kind) {
    case Fault::Kind::Delay:
        injected.delay = fault.time;
        break;
    case Fault::Kind::Error:
        injected.fails = true;
        break;
    case Fault::Kind::Split:
        injected.split = fault.time;
        break;
    case Fault::Kind::Disconnect:
        injected.disconnects = true;
        break;
    }
}

} // namespace

std::optional<Fault> parseFault(const std::string& text) {
    const auto colon = text.find(':');
    auto fault = parseKind(text.substr(0, colon));
    if (!fault || colon == std::string::npos) {
        return fault;
    }
    const auto count = parseCount(text.substr(colon + 1));
    if (!count) {
        return std::nullopt;
    }
    fault->every = *count;
    return fault;
}

InjectedFaults FaultInjector::next() {
    ++m_requests;
    InjectedFaults injected;
    for (const auto& fault : m_faults) {
        if (m_requests % fault.every == 0) {
            add(injected, fault);
        }
    }
    return injected;
}

} // namespace Rynveld
