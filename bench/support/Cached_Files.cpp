#include "bench/support/Cached_Files.h"

#include "filecache/oswrap/IOSWrapper.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

namespace QEL::Bench {

std::string Copy_Name(std::size_t number) {
    // Spread over the whole name, as the bits of a UUID are.
    const std::uint64_t spread = (number + 1) * 0x9E3779B97F4A7C15U;
    char name[64];
    std::snprintf(name, sizeof name, "%08x-%04x-4%03x-8%03x-%012llx.xml", static_cast<unsigned>(spread >> 32),
                  static_cast<unsigned>(spread & 0xFFFF), static_cast<unsigned>((spread >> 16) & 0xFFF),
                  static_cast<unsigned>((spread >> 28) & 0xFFF), static_cast<unsigned long long>(number));
    return name;
}

Configured_Home::Configured_Home() {
    m_Home.Write("qel/qel.ini", "[Software\\QEL\\QELLogon\\Options]\nLandscapeCacheExpiryPeriod=60\n");
    setenv("XDG_CONFIG_HOME", m_Home.Path().c_str(), 1);
    setenv("QEL_TRACE_DIR", m_Home.Path().c_str(), 1);
    // A configuration that has just been written is read again each time it is asked for.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

Configured_Home::~Configured_Home() {
    unsetenv("XDG_CONFIG_HOME");
    unsetenv("QEL_TRACE_DIR");
}

Cached_Files::Cached_Files(std::size_t count) {
    const std::uint64_t now = FrontEnd::OSWRAPI::IOSWrapper::Create()->Get_Current_Time();
    std::ofstream metadata(Metadata_File());
    metadata << "QEL Logon Landscape Cache Metadata\nversion\n2\nentries\n" << count << '\n';
    for (std::size_t number = 0; number < count; ++number) {
        char file[64];
        std::snprintf(file, sizeof file, "landscape-%06zu.xml", number);
        m_Urls.push_back(std::string("https://landscape.example.com/configuration/") + file);
        m_Copies.push_back(Cache_Directory() + "/" + Copy_Name(number));
        std::ofstream(m_Copies.back()) << "<Landscape/>\n";
        metadata << "Sat, 21 Nov 2026 04:38:16 GMT\n"
                 << now << '\n'
                 << m_Copies.back() << '\n'
                 << m_Urls.back() << '\n';
    }
}

} // namespace QEL::Bench
