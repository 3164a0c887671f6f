#include "tests/unit/support/Expected_Records.h"

#include <gtest/gtest.h>

namespace Recorded_Trace {

void Replace_All(std::string& text, const std::string& from, const std::string& to) {
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

namespace {

std::string Escaped(std::string text) {
    Replace_All(text, "\n", "\\n");
    return text;
}

/// A text that is to end its line.
std::string Whole(std::string text) {
    const bool ends = text.ends_with('\n');
    if (ends) {
        text.pop_back();
    }
    return Escaped(text) + (ends ? "" : "\\");
}

std::string Filled(std::string text, const Values& values) {
    for (const auto& [name, value] : values) {
        Replace_All(text, "{" + name + "}", Escaped(value));
    }
    return text;
}

/// The lines of a text as they stand there, without comments and indentation.
Lines Written(std::istream& text) {
    Lines lines;
    for (std::string line; std::getline(text, line);) {
        line.erase(0, std::min(line.find_first_not_of(' '), line.size()));
        if (!line.empty() && line.front() != '#') {
            lines.push_back(line);
        }
    }
    return lines;
}

Lines Written_In_File(const std::string& name) {
    std::ifstream file(std::string(QEL_EXPECTED_RECORDS "/") + name + ".trace");
    EXPECT_TRUE(file.is_open()) << name;
    return Written(file);
}

/// The lines before the given one of those that hold a text. It has to be there.
Lines Before(Lines lines, const std::string& text, int occurrence) {
    const auto end = std::find_if(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find(text) != std::string::npos && --occurrence == 0;
    });
    EXPECT_NE(end, lines.end()) << text;
    lines.erase(end, lines.end());
    return lines;
}

Lines Meant_By_All(const Lines& written, const Values& values);

/// The records that a line stands for.
Lines Meant(const std::string& line, Values values) {
    if (!line.starts_with("= ")) {
        return {Filled(line, values)};
    }
    const auto cut = line.find(" <");
    std::istringstream words(line.substr(2, cut - 2));
    std::string name;
    words >> name;
    const Values outer = values;
    name = Filled(name, outer);
    if (name.find('{') != std::string::npos) {
        return {line}; // for a test that looks at the records before it alone
    }
    for (std::string setting; words >> setting;) {
        const auto equals = setting.find('=');
        values[setting.substr(0, equals)] = Filled(setting.substr(equals + 1), outer);
    }
    Lines lines = Meant_By_All(Written_In_File(name), values);
    if (cut != std::string::npos) {
        const int occurrence = line[cut + 2] == '<' ? 2 : 1;
        lines = Before(lines, Filled(line.substr(cut + 2 + static_cast<std::size_t>(occurrence)), outer), occurrence);
    }
    return lines;
}

Lines Meant_By_All(const Lines& written, const Values& values) {
    Lines all;
    for (const std::string& line : written) {
        const Lines meant = Meant(line, values);
        all.insert(all.end(), meant.begin(), meant.end());
    }
    return all;
}

} // namespace

Lines Shown(const Records& records) {
    Lines lines;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const auto is_piece = [&](std::size_t at, const char* text) {
            return at < records.size() && records[at] == Record{4, text};
        };
        const Record& record = records[i];
        std::string text = record.text;
        const bool has_object = text.find("[this]: ") != std::string::npos;
        const bool is_entry = has_object && text.ends_with(": CALL");
        const bool is_exit = !has_object && text.ends_with(": return value:");
        if (record.level == 4 && (is_entry || is_exit) && is_piece(i + 1, "(") && is_piece(i + 3, ")\n")) {
            text += "(" + records[i + 2].text + ")\n";
            i += 3;
        } else if (text == " ---- BUG ---- ") {
            text = "---- BUG ----\n";
        } else if (!has_object) {
            text.insert(0, "(no object) ");
        }
        if (has_object) {
            text.erase(text.find("[this]"), 6);
        }
        lines.push_back(std::string(1, "?EWND"[record.level]) + ' ' + Whole(text));
    }
    return lines;
}

bool Is_Off() {
    static const bool is_off = std::getenv("QEL_UNTRACED") != nullptr;
    return is_off;
}

std::string Joined(const Lines& lines) {
    std::string all;
    for (const std::string& line : lines) {
        all += line + '\n';
    }
    return all;
}

Lines Lines_Of(const std::string& text, const Values& values) {
    std::istringstream stream(Is_Off() ? "" : text);
    return Meant_By_All(Written(stream), values);
}

std::string File_Header(const std::string& program, const std::string& stamp, const std::string& mode) {
    const std::string asterisks(80, '*');
    return stamp + asterisks + "\n" +                                                                     //
           stamp + "****************************  QEL SE, Trace File  ******************************\n" + //
           stamp + "** Main trace mode: " + mode + "\n" +                                                 //
           stamp + "** Program: \t" + program + "\n" +                                                    //
           stamp + asterisks + "\n\n";
}

std::string First_Download(const std::string& thread, const std::string& object, const std::string& line) {
    const std::string stamp = "Tue, 01 Jan 2019 10:00:00 GMT";
    std::string file = File_Header("PROGRAM", "", "Error, Warning, Developer Notes and additional data ");
    for (std::string record : Lines_Of("= first_download", {{"contents", "@"},
                                                            {"copy", "DIRECTORY/UUID.xml"},
                                                            {"entry", Entry_Text("DIRECTORY/UUID.xml", stamp)},
                                                            {"extension", ".xml"},
                                                            {"metadata", "DIRECTORY/qelfilecache_Metadata.txt"},
                                                            {"no_handle", "@"},
                                                            {"ok", "true"},
                                                            {"old_note", "No old cached file detected in metadata."},
                                                            {"size", "12"},
                                                            {"stamp", stamp},
                                                            {"status", "200"},
                                                            {"stem", "DIRECTORY/UUID"},
                                                            {"type", "application/xml"},
                                                            {"url", "http://127.0.0.1:PORT/landscape.xml"}})) {
        Replace_All(record, "\\n", "\n");
        const auto text = record.find(": ");
        const bool is_exit = record.find("return value:") == text + 2;
        file += "TID: " + thread + ", QEL::FrontEnd::FileCache::CFileCache::" + record.substr(2, text - 2) +
                (is_exit ? "" : "[" + object + "]") + "/" + line + record.substr(text) + "\n";
    }
    return file;
}

std::string Address_Text(const void* address) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%p", address);
    return text.data();
}

std::string Entry_Text(const std::string& cached_file, const std::string& last_modified) {
    return "<CacheEntry cached_file=\"" + cached_file + "\" last_modified=\"" + last_modified + "\"/>";
}

} // namespace Recorded_Trace
