#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace QEL::FrontEnd::Util {

/// The meaning of an error number of a file, a share or an HTTP request.
struct Error_Meaning {
    std::uint32_t number;
    std::string_view cause;  ///< such as "the server cannot be connected to"
    std::string_view remedy; ///< what to do, such as "check its port"; may be empty
};

/// The meaning of a Win32 or WinInet error number; cause and remedy are empty when it is unknown.
Error_Meaning Meaning_Of_Error(std::uint32_t number);

/// The meaning in sentences, with the server's name: "The server h (port 80) cannot be connected to: Connection
/// refused. Check its port."
/// @param detail an addition, such as ": Connection refused"; may be empty.
std::string Sentences_On_Error(std::uint32_t number, std::string_view server, std::string_view detail);

/// Where the first of such sentences ends, before its full stop; npos when no other one follows.
std::size_t End_Of_Cause(std::string_view sentences);

/// The text with a capital letter at the beginning and a full stop at the end, unless it is a question.
std::string Sentence(std::string text);

/// Cause and remedy, which may be empty, in sentences.
std::string Sentences(const std::string& cause, std::string_view remedy);

/// True for errors of a server's certificate.
bool Is_Certificate_Error(std::uint32_t number);

} // namespace QEL::FrontEnd::Util
