#include "tools/qelfilecache/Command.h"

namespace QEL::FrontEnd::Tool {

std::vector<Command> Declare_Commands(CLI::App& tool) {
    return {Declare_Get(tool), Declare_Clear(tool), Declare_Purge(tool)};
}

} // namespace QEL::FrontEnd::Tool
