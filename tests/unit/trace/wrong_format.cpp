// Compiled once for each format below by the tests; none of the numbered ones may compile.

#include "filecache/trace_messages.h"

namespace QEL::FrontEnd::FileCache {

struct Traced {
    void Trace(const std::string& text) {
#if WRONG_FORMAT == 0
        TRACE_ERROR("%s\n", text.c_str());
#elif WRONG_FORMAT == 1
        TRACE_ERROR("%d\n", text.c_str());
#elif WRONG_FORMAT == 2
        TRACE_WARNING("%s\n", text.size());
#elif WRONG_FORMAT == 3
        TRACE_NOTE("%s %s\n", text.c_str());
#elif WRONG_FORMAT == 4
        TRACE_DATA("\n", text.c_str());
#elif WRONG_FORMAT == 5
        TRACE_CALL("url='%d'", text.c_str());
#elif WRONG_FORMAT == 6
        TRACE_RETURN("%d", text.c_str());
#elif WRONG_FORMAT == 7
        Get_Tracer()->trace().Log_Additional_Data("%d", static_cast<long long>(text.size()));
#endif
    }
};

void Use_The_Method() {
    Traced().Trace("text");
}

} // namespace QEL::FrontEnd::FileCache
