// Calls the driver on a port: reads one call per line from the standard input and prints its
// result.
//
//     call_driver PORT BAUD

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include <boost/make_shared.hpp>

#include "driver/imu.h"
#include "tests/recordings/driver_call.h"

namespace {

void callEach(imu &driver)
{
    for (std::string request; std::getline(std::cin, request);) {
        // The driver itself prints during some calls.
        const std::string result = perform(driver, request);
        std::cout << "= " << result << std::endl;
    }
}

int run(const std::string &port, int baud)
{
    const auto driver = boost::make_shared<imu>(nullptr);
    driver->start();
    try {
        driver->connect(port, baud, 8, 0, 1);
        callEach(*driver);
        driver->disconnect();
    } catch (const std::exception &error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    const int status = run(argv[1], std::atoi(argv[2]));
    std::fflush(nullptr);
    // The driver's reader thread never ends.
    std::_Exit(status);
}
