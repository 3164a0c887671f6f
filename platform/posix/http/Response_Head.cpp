#include "platform/posix/http/Response_Head.h"

#include <algorithm>

#include "util/Ascii.h"

namespace QEL::FrontEnd::Platform {

namespace {

bool Is_Chunked(const std::string& coding) {
    return Util::Equals_Ignoring_Case(coding, "chunked");
}

/// Transfer codings may be used only when they were asked for. A compressed one could in addition grow without bounds.
bool Was_Asked_For(const std::string& coding) {
    return Is_Chunked(coding) || Util::Equals_Ignoring_Case(coding, "identity");
}

} // namespace

const char* Fault_Of_Head(long status, const Response_Headers& headers) {
    // libcurl lets numbers of any length pass in a status line of HTTP/2. The caller would take some of them for error
    // numbers.
    if (status < 100 || status > 999) {
        return "has an invalid status";
    }
    if (status == 101) {
        return "switches to another protocol";
    }
    if (status < 200) {
        return nullptr;
    }
    const auto codings = headers.Values("Transfer-Encoding");
    if (!std::all_of(codings.begin(), codings.end(), Was_Asked_For)) {
        return "has a transfer coding that was not asked for";
    }
    // A response with two lengths, or one that is not a number, ends nobody knows where.
    const auto lengths = headers.Values("Content-Length");
    const auto is_valid = [&](const std::string& length) {
        return length == lengths.front() && Content_Length(length);
    };
    return std::all_of(lengths.begin(), lengths.end(), is_valid) ? nullptr : "has two lengths, or an invalid one";
}

bool Says_Where_Body_Ends(const Response_Headers& headers) {
    const auto codings = headers.Values("Transfer-Encoding");
    return !headers.Values("Content-Length").empty() || std::any_of(codings.begin(), codings.end(), Is_Chunked);
}

} // namespace QEL::FrontEnd::Platform
