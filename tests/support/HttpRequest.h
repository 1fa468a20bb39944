/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_HTTPREQUEST_H
#define RYNVEL_TESTS_HTTPREQUEST_H

#include <array>
#include <cstdint>
#include <string>

#include <sys/socket.h>

#include "RecordClient.h"

namespace RynvelTest {

constexpr auto metricsRequest = "GET /metrics HTTP/1.1\r\nHost: node\r\n\r\n";

/** Returns all bytes that the server sends until it ends the connection, or until a minute passes. */
inline std::string answerOn(const RecordClient& client) {
    std::string answer;
    std::array<char, 4096> bytes{};
    ssize_t size = 0;
    while ((size = ::recv(client.socket(), bytes.data(), bytes.size(), 0)) > 0) {
        answer.append(bytes.data(), static_cast<std::size_t>(size));
    }
    return answer;
}

/** Sends the bytes over a new connection, and returns the answer. */
inline std::string answerTo(std::uint16_t port, const std::string& request) {
    const RecordClient client(port);
    client.send(request.data(), request.size());
    return answerOn(client);
}

/** Returns the first line of the answer. */
inline std::string statusOf(std::uint16_t port, const std::string& request) {
    const std::string answer = answerTo(port, request);
    return answer.substr(0, answer.find("\r\n"));
}

/** Returns the metrics of a server. */
inline std::string metricsOf(std::uint16_t port) {
    const std::string answer = answerTo(port, metricsRequest);
    const auto end = answer.find("\r\n\r\n");
    return end == std::string::npos ? answer : answer.substr(end + 4);
}

/** Returns whether the text contains a sample, for example `rynveld_connections{state="open"} 1`. */
inline bool hasSample(const std::string& metrics, const std::string& sample) {
    return ('\n' + metrics).find('\n' + sample + '\n') != std::string::npos;
}

/** Returns the value of a sample; 0 if the text does not contain the sample. */
inline std::uint64_t sampleOf(const std::string& metrics, const std::string& sample) {
    const auto found = ('\n' + metrics).find('\n' + sample + ' ');
    return found == std::string::npos ? 0 : std::stoull(metrics.substr(found + sample.size() + 1));
}

} // namespace RynvelTest

#endif
