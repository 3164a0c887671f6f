#pragma once

namespace QEL::FrontEnd::Util {

/// The base of classes whose objects are neither copied nor moved.
class Non_Copyable {
public:
    Non_Copyable(const Non_Copyable&) = delete;
    Non_Copyable& operator=(const Non_Copyable&) = delete;

protected:
    Non_Copyable() = default;
    ~Non_Copyable() = default;
};

} // namespace QEL::FrontEnd::Util
