#pragma once

#include "tools/trace_reader/Trace.h"

#include <string>

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// Reads trace files into calls. Time and memory grow with the size of the files and not faster.
class Trace_Reader {
public:
    /// @return empty, or why the content is no trace and what to do, in two lines.
    std::string Add(std::string name, std::string content);

    /// What all files that were taken tell.
    Trace Finish();

private:
    Trace m_Trace;
};

} // namespace QEL::FrontEnd::Tool::Trace_Reading
