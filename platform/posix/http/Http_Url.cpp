#include "platform/common/Http_Url.h"

#include <algorithm>
#include <memory>

#include <curl/curl.h>

#include "util/Ascii.h"
#include "util/Control_Characters.h"

namespace QEL::FrontEnd::Platform {

namespace {

// Longer ones are no addresses of files; servers refuse far shorter ones.
constexpr std::size_t Longest_Url = 64 * 1024;

struct Url_Deleter {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using Parsed_Url = std::unique_ptr<CURLU, Url_Deleter>;

/// Takes the part over; false when the URL has none.
bool Read_Part(const Parsed_Url& url, CURLUPart part, unsigned int flags, std::string& value) {
    char* text = nullptr;
    if (curl_url_get(url.get(), part, &text, flags) != CURLUE_OK) {
        return false;
    }
    const std::unique_ptr<char, decltype(&curl_free)> owner(text, &curl_free);
    value = text;
    return !value.empty();
}

std::optional<Http_Url> Parse_Once(std::string_view text) {
    if (Util::Holds_Control_Character(text)) {
        return std::nullopt;
    }
    // libcurl would take the first segment of the path for a missing host.
    const auto authority = text.find("://");
    if (authority == std::string_view::npos || text.substr(authority + 3).starts_with('/')) {
        return std::nullopt;
    }

    const Parsed_Url parsed(curl_url());
    if (parsed == nullptr ||
        curl_url_set(parsed.get(), CURLUPART_URL, std::string(text).c_str(), CURLU_URLENCODE) != CURLUE_OK) {
        return std::nullopt;
    }
    Http_Url url;
    // The first fails where the locale lacks letters of the host. Asked for the host alone, libcurl would leak then.
    if (!Read_Part(parsed, CURLUPART_URL, CURLU_PUNYCODE, url.text) || !Read_Part(parsed, CURLUPART_URL, 0, url.text) ||
        !Read_Part(parsed, CURLUPART_SCHEME, 0, url.scheme) || !Read_Part(parsed, CURLUPART_HOST, 0, url.host) ||
        !Read_Part(parsed, CURLUPART_PORT, CURLU_DEFAULT_PORT, url.port)) {
        return std::nullopt;
    }
    if (url.scheme != "http" && url.scheme != "https") {
        return std::nullopt;
    }
    std::ranges::transform(url.host, url.host.begin(), Util::To_Ascii_Lower);
    return url;
}

} // namespace

std::optional<Http_Url> Http_Url::Parse(std::string_view text) {
    if (text.size() > Longest_Url) {
        return std::nullopt;
    }
    // libcurl decodes a host last: only the second look sees a control character or an address in
    // numbers that was percent-encoded. The second is the one that the request is sent with.
    const auto first = Parse_Once(text);
    return first ? Parse_Once(first->text) : std::nullopt;
}

} // namespace QEL::FrontEnd::Platform
