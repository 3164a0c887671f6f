#include "platform/posix/http/Close_Notify.h"

namespace QEL::FrontEnd::Platform {

namespace {

/// The place of the flag among what programs keep with a context.
int Flag_Index() {
    static const int s_index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return s_index;
}

bool& Flag(const SSL* connection) {
    return *static_cast<bool*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(connection), Flag_Index()));
}

void Note_Close_Notify(const SSL* connection, int event, int alert) {
    constexpr int description = 0xFF; // the other byte is the alert's level
    if (event == SSL_CB_READ_ALERT && (alert & description) == SSL3_AD_CLOSE_NOTIFY) {
        Flag(connection) = true;
    }
}

void Note_End_Of_Handshake(const SSL* connection, int event, int /*result*/) {
    if (event == SSL_CB_HANDSHAKE_DONE) {
        Flag(connection) = false;
    }
}

} // namespace

void Watch_Close_Notify(SSL_CTX* context, bool& is_closed) {
    if (SSL_CTX_set_ex_data(context, Flag_Index(), &is_closed) == 1) {
        SSL_CTX_set_info_callback(context, &Note_Close_Notify);
    }
}

void Watch_Handshake(SSL_CTX* context, bool& is_under_way) {
    if (SSL_CTX_set_ex_data(context, Flag_Index(), &is_under_way) == 1) {
        is_under_way = true;
        SSL_CTX_set_info_callback(context, &Note_End_Of_Handshake);
    }
}

} // namespace QEL::FrontEnd::Platform
