#include "util/HttpClient.h"

namespace QEL::FrontEnd::Util::HttpWinInet {

bool HttpClient::IsErrorInRange(std::uint32_t error_number) {
    return error_number >= 12001 && error_number <= 12175;
}

} // namespace QEL::FrontEnd::Util::HttpWinInet
