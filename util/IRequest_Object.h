#pragma once

#include "util/Body_Publication.h"
#include "util/Non_Copyable.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace QEL::FrontEnd::FileCache {

/// Result of a call: negative is a failure.
using HResult = std::int32_t;

inline constexpr bool Failed(HResult result) {
    return result < 0;
}

/// The interface of the request object whose call failed. It selects the error text.
enum class Request_Interface { XMLHTTPRequest, ServerXMLHTTPRequest };

/// Type number of an array of bytes, the only body type that the cache accepts.
inline constexpr std::uint16_t Byte_Array_Type = 8209;

/// A response body as the request object returns it: its description and its bytes.
/// Nothing is checked here; the download checks each member.
struct Response_Body {
    std::uint16_t type = 0;              ///< Byte_Array_Type for an array of bytes
    std::uint32_t dimensions = 0;        ///< of the array
    HResult lower_bound_result = 0;      ///< of asking for the lower bound
    HResult upper_bound_result = 0;      ///< of asking for the upper bound
    std::int64_t lower_bound = 0;        ///< of the first dimension
    std::int64_t upper_bound = -1;       ///< of the first dimension, inclusive
    HResult access_result = 0;           ///< of locking the bytes
    const char* data = nullptr;          ///< the bytes, `upper_bound` - `lower_bound` + 1 of them
    std::shared_ptr<const void> lock;    ///< holds the bytes; releases them with its last owner
    Util::Body_Publication publish = {}; ///< empty when the cache must write the bytes
};

/// One synchronous HTTP request without body, user or password.
///
/// Each method is one call of the platform's request object and returns that call's result.
/// A failure in the range 0x80072EE1 to 0x80072F8F carries a WinInet error number in its low half.
/// For one thread, which on Windows must have initialised COM. The destructor releases it.
class IRequest_Object {
public:
    virtual ~IRequest_Object() = default;

    /// Time-outs in milliseconds: of the name look-up, of the connection, of sending one packet, of
    /// waiting for one packet.
    virtual HResult Set_Timeouts(int resolve, int connect, int send, int receive) = 0;

    /// Prepares a request. Refuses a URL that holds control characters.
    /// @param method "GET" or "HEAD".
    virtual HResult Open(const char* method, const std::string& url) = 0;

    /// Sends the request and waits for the whole response.
    virtual HResult Send() = 0;

    virtual HResult Get_Status(long& status) = 0;

    /// A header of the response by its name (any letter case); empty when it is absent.
    virtual HResult Get_Response_Header(const char* name, std::string& value) = 0;

    virtual HResult Get_Response_Body(Response_Body& body) = 0;

    /// The URL of the response, after redirects, or the target of one that is not followed; empty when the system does
    /// not report it.
    virtual std::string Final_Url() { return {}; }

    /// The status with which a proxy has refused the connection, after a failure of Send; 0 when none has.
    virtual long Proxy_Status() { return 0; }

    /// The system's text for the last failure of a call of the given interface; empty when it has
    /// none. Ask right after the call.
    virtual std::string Error_Description(Request_Interface failed_interface) = 0;
};

/// The result of creating a request object.
struct Request_Object_Creation {
    std::unique_ptr<IRequest_Object> object; ///< null when the creation failed
    HResult result = 0;
    std::uint32_t last_error = 0; ///< the system's last error after a failure
};

/// While it lives, each request of its thread opens a connection of its own.
class New_Connections : private Util::Non_Copyable {
public:
    /// @param url of the server that is meant.
    /// @param address of its name, to which the connections to it go, on Linux. Empty: the system chooses.
    New_Connections(std::string url, std::string address) : m_Url(std::move(url)), m_Address(std::move(address)) {
        t_current = this;
    }
    ~New_Connections() { t_current = nullptr; }

    /// Null when the thread has none.
    static const New_Connections* Current() { return t_current; }

    const std::string& Url() const { return m_Url; }
    const std::string& Address() const { return m_Address; }

private:
    inline static thread_local const New_Connections* t_current = nullptr;
    const std::string m_Url;
    const std::string m_Address;
};

/// The numeric addresses of the server that a URL names. Empty when they are unknown, or a request cannot choose one of
/// them: through a proxy, and on Windows.
std::vector<std::string> Addresses_Of_Server(const std::string& url);

/// Creates a request object: the first HTTP client of the platform.
/// @param copy_directory the directory of the saved body.
Request_Object_Creation Create_Request_Object(const std::string& copy_directory = {});

} // namespace QEL::FrontEnd::FileCache
