#include "mime/Magic.h"

#include "mime/content_type.h"
#include "mime/extension_table.h"
#include "mime/sniffing/sniff.h"
#include "util/File_Head.h"

#include <optional>
#include <string_view>
#include <utility>

namespace QEL::Mime {

Magic::Magic(Magic&& other) noexcept : m_Initialized(std::exchange(other.m_Initialized, false)) {}

Magic& Magic::operator=(Magic&& other) noexcept {
    m_Initialized = std::exchange(other.m_Initialized, false);
    return *this;
}

bool Magic::Is_Initialized() const {
    return m_Initialized;
}

void Magic::Read_From_Builtin_Resource() {
    m_Initialized = true;
}

std::string Magic::Get_Mime_Type_For_Data(const char* data, std::size_t size) const {
    if (!m_Initialized || data == nullptr) {
        return {};
    }
    return std::string(Sniffing::Sniff_Mime_Type({data, size}));
}

std::string Magic::Get_Mime_Type_For_File(const std::string& path) const {
    const std::string head = FrontEnd::Util::FileSystem::Read_File_Head(path, Sniffing::Sniffed_Length);
    return Get_Mime_Type_For_Data(head.data(), head.size());
}

bool Magic::Get_Extension_From_Mime_Type(const std::string& mime_type, std::string& extension) const {
    const auto found = m_Initialized ? Find_Mime_Type(mime_type) : std::nullopt;
    extension = found ? Find_Extension(*found) : std::string_view();
    return !extension.empty();
}

} // namespace QEL::Mime
