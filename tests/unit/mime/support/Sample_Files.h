#pragma once

#include "tests/support/Standard_Library.h"

/// A small file of a known kind.
struct Sample_File {
    std::string name;
    std::string contents;
    /// What sniffing answers.
    std::string mime_type;
};

/// One file at least of every kind that sniffing knows, and of kinds that it leaves alone.
const std::vector<Sample_File>& Sample_Files();

/// ASCII text in UTF-16, without byte order mark.
std::string Utf16_Little_Endian(const std::string& text);
std::string Utf16_Big_Endian(const std::string& text);

inline const std::string Utf8_Mark = "\xEF\xBB\xBF";
inline const std::string Utf16_Little_Endian_Mark = "\xFF\xFE";
inline const std::string Utf16_Big_Endian_Mark = "\xFE\xFF";

struct Zip_Entry {
    std::string name;
    std::string contents;
    /// More bytes in the header, which writers use for padding.
    std::string extra = {};
};

/// A ZIP archive whose entries are stored as they are, with its directory.
std::string Zip_Archive(const std::vector<Zip_Entry>& entries);
