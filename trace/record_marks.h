#pragma once

/// What the trace writer puts before records and into the heading of a file, and what a reader finds them by.
namespace QEL::FrontEnd::Util::Tracing {

inline constexpr char Error_Mark[] = "***ERROR***: ";
inline constexpr char Warning_Mark[] = "***WARNING*: ";
inline constexpr char Bug_Mark[] = " ---- BUG ---- ";
inline constexpr char Heading_Title[] =
    "****************************  QEL SE, Trace File  ******************************";
inline constexpr char Heading_Level[] = "** Main trace mode: ";
inline constexpr char Heading_Program[] = "** Program: \t";
inline constexpr char Complaint_Label[] = "ERROR: QELPCTRC, ";

} // namespace QEL::FrontEnd::Util::Tracing
