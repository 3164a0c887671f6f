#include "tools/qelfilecache/inspecting/short_addresses.h"

#include "util/Visible_Text.h"

#include <algorithm>
#include <map>
#include <set>

namespace QEL::FrontEnd::Tool {

namespace {

/// What all of them begin with, as far as the last separator in it.
std::size_t Common_Folders(const std::set<std::string>& addresses) {
    // The first and the last in order differ at least as early as any others.
    const std::string& first = *addresses.begin();
    const std::string& last = *addresses.rbegin();
    const auto difference = std::mismatch(first.begin(), first.end(), last.begin(), last.end());
    const std::string common(first.begin(), difference.first);
    const auto separator = common.find_last_of("/\\");
    return separator == std::string::npos ? 0 : separator;
}

std::string Without_Beginning(const std::string& address, std::size_t beginning, std::size_t columns) {
    constexpr std::size_t ellipsis = 3;
    return "..." + Util::Shorten(address.substr(beginning), columns > ellipsis ? columns - ellipsis : 0);
}

/// The addresses behind each short form.
std::map<std::string, std::set<std::string>> Addresses_By_Form(const std::map<std::string, std::string>& forms) {
    std::map<std::string, std::set<std::string>> addresses;
    for (const auto& [address, form] : forms) {
        addresses[form].insert(address);
    }
    return addresses;
}

} // namespace

std::vector<std::string> Shorten_Distinctly(const std::vector<std::string>& addresses, std::size_t columns) {
    std::map<std::string, std::string> forms;
    for (const std::string& address : addresses) {
        forms[address] = Util::Shorten(address, columns);
    }
    for (const auto& [form, alike] : Addresses_By_Form(forms)) {
        const std::size_t beginning = alike.size() > 1 ? Common_Folders(alike) : 0;
        for (const std::string& address : alike) {
            if (beginning > 0) {
                forms[address] = Without_Beginning(address, beginning, columns);
            }
        }
    }
    for (const auto& [form, alike] : Addresses_By_Form(forms)) {
        for (const std::string& address : alike) {
            if (alike.size() > 1) {
                forms[address] = address;
            }
        }
    }
    std::vector<std::string> shortened;
    shortened.reserve(addresses.size());
    for (const std::string& address : addresses) {
        shortened.push_back(forms[address]);
    }
    return shortened;
}

} // namespace QEL::FrontEnd::Tool
