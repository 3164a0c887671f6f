#include "tools/qelfilecache/inspecting/remote_errors.h"

#include "tools/qelfilecache/error_meanings.h"

namespace QEL::FrontEnd::Tool {

namespace {

/// "the server cannot be connected to; check its port"; `unknown` where there is no meaning.
std::string Sentence(const Error_Meaning* meaning, const char* unknown) {
    if (meaning == nullptr) {
        return unknown;
    }
    const std::string cause(meaning->cause);
    return meaning->remedy.empty() ? cause : cause + "; " + std::string(meaning->remedy);
}

/// What a sentence tells before it says what to do.
std::string Cause_In(const std::string& sentence) {
    return sentence.substr(0, sentence.find("; "));
}

} // namespace

bool May_Be_The_Certificate(std::uint32_t number) {
    constexpr std::uint32_t secure_failure = 12175;
    return number == secure_failure;
}

std::string Web_Error_Text(std::uint32_t number) {
    return Sentence(Web_Error(number), "the request failed on its way; look the number up among the WinInet errors");
}

std::string Web_Error_Cause(std::uint32_t number) {
    return Is_Certificate_Error(number) ? "the server's certificate does not hold" : Cause_In(Web_Error_Text(number));
}

std::string Share_Error_Text(std::uint32_t number) {
    return Sentence(Share_Error(number), "the file cannot be examined; look the number up among the system's errors");
}

std::string Share_Error_Cause(std::uint32_t number) {
    return Cause_In(Share_Error_Text(number));
}

bool Refuses_Head_Alone(long status) {
    return status == 405 || status == 501;
}

std::string Status_Text(long status) {
    switch (status) {
    case 401:
    case 403:
    case 407:
        return "it wants a user who may read the file, and the cache names none";
    case 404:
    case 410:
        return "it has no such file";
    case 405:
    case 501:
        return "it does not answer to HEAD, with which the cache asks; it may hand the file out all the same";
    case 304:
        return "an answer that only a browser can use";
    default:
        break;
    }
    if (status >= 200 && status <= 299) {
        return "success";
    }
    if (status >= 300 && status <= 399) {
        return "a redirection that is not followed";
    }
    return status >= 500 ? "the server itself is in trouble" : "it refuses the request";
}

} // namespace QEL::FrontEnd::Tool
