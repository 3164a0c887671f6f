#pragma once

#include <cstddef>
#include <string>

namespace QEL::Mime {

/// Finds the MIME type of a file and the extension of a MIME type.
///
/// The tables are constant data of the library; an object only records whether it has loaded them.
/// Copies are independent. A default-constructed or moved-from object is not initialised and finds
/// no type and no extension. Const operations may run on several threads at once.
class Magic {
public:
    Magic() = default;
    Magic(const Magic&) = default;            ///< initialised if the other is
    Magic& operator=(const Magic&) = default; ///< initialised if the other is
    Magic(Magic&& other) noexcept;            ///< leaves the other not initialised
    Magic& operator=(Magic&& other) noexcept; ///< leaves the other not initialised
    ~Magic() = default;

    /// True once the tables have been loaded.
    bool Is_Initialized() const;

    /// Loads the built-in tables.
    void Read_From_Builtin_Resource();

    /// The MIME type of a block of memory, from its first 1445 bytes; empty when unknown.
    std::string Get_Mime_Type_For_Data(const char* data, std::size_t size) const;

    /// The MIME type of a file, from its first 1445 bytes; empty when unknown. The file may be on
    /// a share.
    /// @throws std::runtime_error with the path and the reason when the file cannot be read.
    std::string Get_Mime_Type_For_File(const std::string& path) const;

    /// The preferred extension of a MIME type. It ignores parameters ("; charset=utf-8"), blanks and
    /// letter case of the type.
    /// @param extension receives the extension with its leading dot; empty when there is none.
    /// @return true when an extension is known.
    bool Get_Extension_From_Mime_Type(const std::string& mime_type, std::string& extension) const;

private:
    bool m_Initialized = false;
};

} // namespace QEL::Mime
