#pragma once

#include "util/IRequest_Object.h"

#include <string>
#include <utility>

namespace QEL::FrontEnd::FileCache {

/// A failed call of the request object, with the text that the object gave for it.
class Com_Error {
public:
    Com_Error(HResult result, std::string description) : m_Result(result), m_Description(std::move(description)) {}

    HResult Error() const { return m_Result; }
    const std::string& Description() const { return m_Description; }

private:
    HResult m_Result;
    std::string m_Description;
};

} // namespace QEL::FrontEnd::FileCache
