// The hostile servers for a client on the other side of a process boundary: prints a line for each and
// serves until its standard input ends.

#include "tests/support/Hostile_Servers.h"

int main() {
    const QEL::Tests::Hostile_Servers_At_Work servers;
    for (const auto& site : servers.Sites()) {
        std::cout << site;
    }
    std::cout << std::endl; // an empty line ends the list
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
}
