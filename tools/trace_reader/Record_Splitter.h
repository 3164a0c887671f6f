#pragma once

#include "tools/trace_reader/Trace.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// Splits the content of a file into records, in linear time, whatever it holds.
///
/// A record begins at the start of a line. Inside a line it begins only where the writer can have
/// been interrupted, or where the address of the cache object proves it genuine: a requested URL may
/// hold anything, the looks of a record included. What belongs to no record is taken for the rest of
/// the one before, for messages may have several lines.
class Record_Splitter {
public:
    /// Appends the records and runs of this file to those of the trace.
    Record_Splitter(Trace& trace, std::uint32_t file);

    /// @return false when the file holds neither a heading nor a record.
    bool Split();

private:
    /// The beginning of a record: everything before its text.
    struct Prefix {
        std::size_t begin = 0;
        std::size_t end = 0;
        std::string_view method;
        std::string_view object; ///< address of the cache object; empty when it tells none
        Local_Clock_Time time = No_Time;
        std::int32_t thread = 0;
        Severity mark = Severity::Data;
        bool bug = false;
        bool has_time = false;
    };

    void Split_Line(std::size_t begin, std::size_t end);
    bool Take_Heading_Line(std::size_t begin, std::string_view line);
    bool Parse_Prefix(std::size_t thread_label, std::size_t line_begin, std::size_t line_end, Prefix& prefix) const;
    void Look_Back(std::size_t line_begin, Prefix& prefix) const;
    bool May_Begin_Inside_A_Line(const Prefix& prefix);
    bool Stands_Between_Pieces(std::size_t end) const;
    void Begin_Record(const Prefix& prefix);
    void End_Record(std::size_t end);
    void Take_Writer_Line(std::size_t begin, std::size_t end);
    void Begin_Run();
    void End_Run();

    Trace& m_Trace;
    std::string_view m_Content;
    std::uint32_t m_File;
    std::uint32_t m_Line = 0;
    bool m_Found_Anything = false;
    bool m_In_Heading = false;

    bool m_In_Run = false;
    Run m_Run;
    std::string_view m_Object; ///< address of the run's cache object

    bool m_In_Record = false;
    Record m_Record;
    std::size_t m_Text_Begin = 0;
    std::size_t m_Text_End = 0;
    std::size_t m_Quotes_Counted_To = 0; ///< so that a long text is looked through once
    bool m_Quotes_Even = true;
};

} // namespace QEL::FrontEnd::Tool::Trace_Reading
