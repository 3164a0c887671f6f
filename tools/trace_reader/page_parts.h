#pragma once

#include <string_view>

/// The parts of the page that are the same for every trace. The build makes them of page/.
namespace QEL::FrontEnd::Tool::Trace_Reading {

extern const std::string_view page_style;
extern const std::string_view page_script;

/// Their SHA-256, hexadecimal.
extern const std::string_view page_style_hash;
extern const std::string_view page_script_hash;

} // namespace QEL::FrontEnd::Tool::Trace_Reading
