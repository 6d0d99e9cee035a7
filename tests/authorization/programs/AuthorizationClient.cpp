// Calls the system's authorization services as told on its standard input.

#include "platform/rights/PolkitAuthorization.h"
#include "platform/rights/SystemServiceManagement.h"
#include "tests/authorization/AuthorizationSession.h"

#include <iostream>
#include <string>

int main()
{
    veltra::AuthorizationSession session{veltra::systemAuthorization(),
                                         veltra::systemServiceManagement()};
    for (std::string line; std::getline(std::cin, line);)
        std::cout << session.obey(line) << std::endl;
}
