#include "tools/trace_reader/call_facts.h"

#include "tools/trace_reader/message_catalogue.h"
#include "tools/trace_reader/record_text.h"

#include <utility>

namespace QEL::FrontEnd::Tool::Trace_Reading {

namespace {

/// The text of a result: "''" stands for an empty one, and some results are labelled or quoted.
std::string_view Result_In(std::string_view text) {
    for (const std::string_view label : {"rtn = ", "ok = "}) {
        if (text.starts_with(label)) {
            return text.substr(label.size());
        }
    }
    if (text.size() >= 2 && text.starts_with('\'') && text.ends_with('\'')) {
        return text.substr(1, text.size() - 2);
    }
    return text;
}

class Fact_Finder {
public:
    explicit Fact_Finder(Call_Facts& facts) : m_Facts(facts) {}

    void Take(const Record& record) {
        m_Facts.ends_as_share = false;
        m_Facts.is_request = m_Facts.is_request || record.method == "Get_Cached_File_and_Status";
        switch (record.kind) {
        case Record_Kind::Call:
            Take_Call(record);
            break;
        case Record_Kind::Return:
            Take_Return(record);
            break;
        case Record_Kind::Message:
            Take_Message(record);
            break;
        case Record_Kind::Writer:
            break;
        }
    }

private:
    void Take_Call(const Record& record) {
        if (record.method == "Get_Cached_File_and_Status" && !record.incomplete) {
            m_Facts.asked = Between(record.text, "url='", "'");
        } else if (record.method == "Set_Cache_Directory" && !record.incomplete) {
            m_Facts.asked = Between(record.text, "absolute_dir_path='", "'");
        } else if (record.method == "Get_Cached_Remote_File") {
            m_Facts.went_remote = true;
        } else if (record.method == "Download_Inet_URL" || record.method == "Download_File_Share") {
            m_Facts.has_downloaded = true;
        }
    }

    void Take_Return(const Record& record) {
        const auto result = Result_In(record.text);
        if (record.method == "Is_File_Share") {
            m_Facts.ends_as_share = record.depth == 1 && result == "true";
        }
        if (record.incomplete || record.text.empty()) { // the cache writes an empty result as two quotes
            m_Facts.exit_is_incomplete = m_Facts.exit_is_incomplete || record.method == "Get_Cached_File_and_Status";
            return;
        }
        if (record.method == "Get_Cached_Remote_File") {
            m_Facts.remote_result = result;
        } else if (record.method == "Get_Cached_File_and_Status" || record.method == "Set_Cache_Directory" ||
                   record.method == "Clear" || record.method == "Purge_Cache_Folder") {
            m_Facts.returned = true;
            m_Facts.result = result;
        }
    }

    void Take_Message(const Record& record) {
        const auto text = record.text;
        if (record.severity != Severity::Data) {
            Take_Cause(record);
        }
        if (record.method == "Get_Cached_File_and_Status") {
            Take_Message_Of_Request(text);
        } else if (record.method == "Get_Cached_Remote_File") {
            Take_Message_Of_Policy(text);
        } else if (record.method == "Is_Inet_URL_Expired" || record.method == "Is_File_Share_Expired") {
            Take_Message_Of_Check(text);
        } else if (record.method == "Process_Inet_URL_By_WinInet") {
            Take_Message_Of_Second_Attempt(text);
        } else if (record.method == "Deserialize") {
            m_Facts.entries_read += text.starts_with("Adding to the cache: ") ? 1 : 0;
            m_Facts.entries_ignored += text.starts_with("Cached file does not exist. Entry ignored") ? 1 : 0;
        } else if (text.starts_with("Cache directory is already the same")) {
            m_Facts.same_directory = true;
            m_Facts.normalised = Between(text, "absolute_dir_path='", "'");
        } else if (text.starts_with("Setting cache directory to")) {
            m_Facts.normalised = Between(text, "'", "'");
        } else if (text.starts_with("Closed file '")) {
            m_Facts.copy_written = Between(text, "'", "'");
        } else if (text.starts_with("Copied file '")) {
            m_Facts.copy_written = Between(text, "to the cached file: '", "'");
            m_Facts.is_share = true;
        }
    }

    void Take_Message_Of_Request(std::string_view text) {
        if (text.starts_with("url_or_path = '")) {
            // Behind its line there may be pieces of another thread's records.
            m_Facts.normalised = Between(text.substr(0, text.find("'.\n") + 1), "'", "'");
            if (m_Facts.normalised.empty()) {
                m_Facts.normalised = Between(text, "'", "'");
            }
        } else if (text.starts_with("URL is local.")) {
            m_Facts.is_local = true;
        } else if (text.starts_with("File share URL detected: ")) {
            m_Facts.is_share = true;
        }
    }

    void Take_Message_Of_Policy(std::string_view text) {
        m_Facts.went_remote = true;
        if (text.starts_with("Remote file '")) {
            (text.find("' is expired. Will be downloaded.") == std::string_view::npos ? m_Facts.was_unknown
                                                                                      : m_Facts.is_expired) = true;
        } else if (text.starts_with("Error(code=")) {
            m_Facts.check_failed = true;
        } else if (text.starts_with("Cached file '")) {
            m_Facts.copy_used = text.substr(13, text.find("' for URL '") - 13);
        } else if (text.starts_with("Cached file for '")) {
            m_Facts.copy_was_missing = true;
        }
    }

    void Take_Message_Of_Check(std::string_view text) {
        if (text.starts_with("Cache entry needs updating")) {
            m_Facts.is_changed = true;
            const auto dates = text.substr(0, text.find(", old cache entry: "));
            m_Facts.new_date = Between(dates, "last modified URL = '", "'");
            m_Facts.old_date = Between(text, "last_modified=\"", "\"");
        } else if (text.starts_with("Last-Modified header is empty.")) {
            m_Facts.has_no_date = true;
        }
    }

    void Take_Message_Of_Second_Attempt(std::string_view text) {
        if (text.starts_with("CertErrorHandlingMode: ")) {
            m_Facts.certificate_mode = Between(text, "'", "'");
        } else if (text.starts_with("Download_Inet_URL_By_WinInet: ok: 1")) {
            m_Facts.second_attempt_worked = true;
        }
    }

    void Take_Cause(const Record& record) {
        const auto recognised = Recognise(record.text);
        const bool explains = recognised.message != nullptr && recognised.message->weight != Weight::None &&
                              Meant_Severity(recognised) != Severity::Note;
        if (!explains && record.severity == Severity::Error && recognised.message == nullptr) {
            m_Facts.secondary_cause = record.text.substr(0, record.text.find('\n'));
        }
        if (!explains) {
            return;
        }
        const bool is_consequence = record.method == "Get_Cached_File_and_Status" && !m_Facts.primary_cause.empty();
        if (is_consequence) {
            return;
        }
        std::string cause = Cause(recognised);
        const bool is_check = record.method == "Is_Inet_URL_Expired" || record.method == "Is_File_Share_Expired";
        if (is_check && (m_Facts.check_cause.empty() || recognised.message->weight >= Weight::Primary)) {
            m_Facts.check_cause = cause;
        }
        m_Facts.failed_for_certain = m_Facts.failed_for_certain || recognised.message->weight == Weight::Final;
        (recognised.message->weight >= Weight::Primary ? m_Facts.primary_cause : m_Facts.secondary_cause) =
            std::move(cause);
    }

    Call_Facts& m_Facts;
};

} // namespace

Call_Facts Find_Facts(const Trace& trace, const Call& call) {
    Call_Facts facts;
    Fact_Finder finder(facts);
    for (std::uint32_t index = 0; index < call.record_count; ++index) {
        finder.Take(trace.Record_Of(call, index));
    }
    return facts;
}

} // namespace QEL::FrontEnd::Tool::Trace_Reading
