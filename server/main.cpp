// SPDX-License-Identifier: MIT
#include <exception>
#include <iostream>
#include <stdexcept>

#include "DeviceList.h"
#include "Server.h"
#include "StandardError.h"

namespace {

enum ExitStatus { stopped = 0, cannotRun = 1, wrongUsage = 2 };

int report(const std::exception& problem, ExitStatus status) {
    std::cerr << "rynveld: " << problem.what() << '\n';
    return status;
}

std::size_t servedDevices(const Rynveld::Policy& policy) {
    return policy.devices.empty() ? Common::devices().size() : policy.devices.size();
}

int serve(const Rynveld::Options& options) {
    Rynveld::makeStandardErrorNonBlocking();
    Rynveld::Server server(options);
    std::cerr << "rynveld: listening on " << server.address() << ", serving " << servedDevices(options.policy)
              << (options.policy.simulate ? " simulated" : "") << " devices" << std::endl;
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
