#include "tools/qelfilecache/Command_Line.h"
#include "tools/qelfilecache/host.h"

int main(int argument_count, char** arguments) {
    QEL::FrontEnd::Tool::Host::Prepare_Standard_Streams();
    return QEL::FrontEnd::Tool::Run_Command_Line(argument_count, arguments);
}
