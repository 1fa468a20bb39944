// SPDX-License-Identifier: MIT
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

#include "Count.h"
#include "ServedDevices.h"
#include "Server.h"
#include "StandardError.h"

namespace {

enum ExitStatus { stopped = 0, cannotRun = 1, wrongUsage = 2 };

int report(const std::exception& problem, ExitStatus status) {
    std::cerr << "rynveld: " << problem.what() << '\n';
    return status;
}

/** Returns the text that adds the URL of the metrics to the start message; empty for a server without metrics. */
std::string metricsText(const std::string& address) {
    return address.empty() ? "" : ", metrics at http://" + address + "/metrics";
}

int serve(const Rynveld::Options& options) {
    Rynveld::makeStandardErrorNonBlocking();
    Rynveld::Server server(options);
    std::cerr << "rynveld: listening on " << server.address() << ", serving "
              << Common::counted(Rynveld::countServedDevices(options.policy),
                                 options.policy.simulate ? "simulated device" : "device")
              << metricsText(server.metricsAddress()) << std::endl;
    server.run();
    return stopped;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return serve(Rynveld::parseOptions(argc, argv));
    } catch (const Rynveld::InfoRequested& answer) {
        std::cout << answer.text << std::flush;
        return std::cout ? stopped : cannotRun;
    } catch (const std::invalid_argument& problem) {
        return report(problem, wrongUsage);
    } catch (const std::exception& problem) {
        return report(problem, cannotRun);
    }
}
