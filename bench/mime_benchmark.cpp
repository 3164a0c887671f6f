#include "mime/Magic.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>

namespace {

using QEL::Mime::Magic;

constexpr std::size_t Head_Length = 1445;

Magic Loaded_Magic() {
    Magic magic;
    magic.Read_From_Builtin_Resource();
    return magic;
}

std::string Repeated(const std::string& beginning, const std::string& line) {
    std::string contents = beginning;
    while (contents.size() < Head_Length) {
        contents += line;
    }
    contents.resize(Head_Length);
    return contents;
}

/// Heads of full length, each taking its own way through the tests.
const struct {
    const char* name;
    const char* mime_type;
    std::string contents;
} Heads[] = {
    {"png", "image/png", Repeated("\x89PNG\r\n\x1A\n", "x")},
    {"html", "text/html", Repeated("<!DOCTYPE html><html>", "<p>text</p>\n")},
    {"xml", "text/xml", Repeated("<?xml version=\"1.0\"?>\n<Landscape>\n", "<Item name=\"a\" server=\"b\"/>\n")},
    {"xml_behind_long_comment", "text/xml",
     "<!-- " + Repeated("", "-- a comment about servers\n").substr(0, 1400) + "--><Landscape a='b'>" +
         std::string(20, ' ')},
    {"xml_without_declaration", "text/xml", Repeated("<Landscape>\n", "<Item name=\"a\" server=\"b\"/>\n")},
    {"ini", "text/x-ini", Repeated("; servers\n[Configuration]\n", "SystemName=some name\n")},
    {"ini_behind_comments", "text/x-ini",
     Repeated("", "; a comment about the servers of the north\n").substr(0, 1420) + "\n[Configuration]\na=b\n    "},
    // The slowest text known: comments in lines as short as hardly any file has them.
    {"ini_behind_shortest_comments", "text/x-ini", Repeated("", "; comment\n").substr(0, 1430) + "\n[Server]\na=b\n"},
    {"comments_only", "text/plain", Repeated("", "# a comment about the servers of the north\n")},
    {"json", "application/json", Repeated("[", "{\"name\": \"value\", \"list\": [1, 2.5, true, null]},\n")},
    {"json_long_strings", "application/json", Repeated("[", "\"\\\"" + std::string(100, '\\') + "\", ")},
    {"text", "text/plain", Repeated("", "The quick brown fox jumps over the lazy dog.\n")},
    {"text_utf16", "text/plain", Repeated("\xFF\xFE", std::string("a\0b\0", 4))},
    {"binary_at_the_end", "", Repeated("", "text\n").replace(Head_Length - 1, 1, 1, '\0')},
    {"zip", "application/zip", Repeated(std::string("PK\3\4", 4), std::string("PK\3\4 x PK PK", 13))},
};

void Sniff(benchmark::State& state, const std::string& contents, const std::string& expected) {
    const Magic magic = Loaded_Magic();
    if (magic.Get_Mime_Type_For_Data(contents.data(), contents.size()) != expected) {
        state.SkipWithError("not the expected type");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(magic.Get_Mime_Type_For_Data(contents.data(), contents.size()));
    }
}

void Find_Extension(benchmark::State& state, const std::string& content_type) {
    const Magic magic = Loaded_Magic();
    std::string extension;
    for (auto _ : state) {
        benchmark::DoNotOptimize(magic.Get_Extension_From_Mime_Type(content_type, extension));
    }
}

} // namespace

int main(int argc, char** argv) {
    for (const auto& head : Heads) {
        benchmark::RegisterBenchmark((std::string("sniff/") + head.name).c_str(), Sniff, head.contents,
                                     std::string(head.mime_type));
    }
    benchmark::RegisterBenchmark("extension/plain", Find_Extension, std::string("text/xml"));
    benchmark::RegisterBenchmark("extension/parameters", Find_Extension,
                                 std::string(" Text/XML ; charset=\"utf-8\"; q=1"));
    benchmark::RegisterBenchmark("extension/several", Find_Extension, std::string("text/html, text/xml"));
    benchmark::RegisterBenchmark("extension/unknown", Find_Extension, std::string("application/vnd.unknown"));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
