#pragma once

#include "platform/common/Dead_Servers.h"
#include "util/Dead_Servers.h"
#include "util/Last_Error.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace QEL::FrontEnd::Platform {

/// What an operation on a share's file came to.
struct Share_Outcome {
    std::uint32_t error = 0;     ///< Win32 code, 0 on success
    bool has_moved_data = false; ///< a part of the content has come
};

/// The server of a path `\\server\share\...`, in lower case; empty for any other path.
std::string Share_Server(std::string_view path);

/// What the outcome says of the server.
Attempt Share_Attempt(const Share_Outcome& outcome);

/// Runs an operation on a file, unless it lies on a share whose server lately cost time in vain (see Dead_Servers): it
/// then fails with the error of that time, and Util::Unasked_Share_Server says why. A failure on a share is the
/// thread's last error, too.
/// @param operation answers with a Share_Outcome.
/// @return the error.
template <typename Operation>
std::uint32_t Ask_Server_Of(const std::string& path, const Operation& operation) {
    const std::string share_server = Share_Server(path);
    if (share_server.empty()) {
        return operation().error;
    }
    const Server server{"share " + share_server, {}};
    auto& dead_servers = Dead_Servers::Instance();
    Share_Outcome outcome;
    if (auto known = dead_servers.Recall(server, {})) {
        outcome.error = known->error;
        Util::Unasked_Share_Server::Describe(std::move(known->description));
    } else {
        const auto began = dead_servers.Now();
        outcome = operation();
        dead_servers.Note(server, {}, Share_Attempt(outcome),
                          {outcome.error, "The server " + share_server +
                                              " could not be reached. Check that it runs, and the network."},
                          began);
    }
    if (outcome.error != 0) {
        Util::Set_Last_Error(outcome.error);
    }
    return outcome.error;
}

} // namespace QEL::FrontEnd::Platform
