#include "tools/qelfilecache/Command.h"

namespace QEL::FrontEnd::Tool {

std::vector<Command> All_Commands() {
    return {Get_Command(),   List_Command(),  Explain_Command(), Prefetch_Command(),
            Trace_Command(), Clear_Command(), Purge_Command()};
}

} // namespace QEL::FrontEnd::Tool
