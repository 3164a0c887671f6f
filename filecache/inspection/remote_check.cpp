#include "filecache/inspection/Cache_Inspection.h"

#include "filecache/download/http_request.h"
#include "filecache/inspection/Inspection_State.h"
#include "filecache/locks.h"
#include "filecache/metadata/parse_number.h"
#include "filecache/url/request_kind.h"
#include "util/Configuration_Source.h"
#include "util/Control_Characters.h"
#include "util/Dead_Servers.h"
#include "util/File_Head.h"
#include "util/HttpClient.h"
#include "util/Path_Queries.h"

namespace QEL::FrontEnd::FileCache {

using Util::HttpWinInet::Http_Head;
using Util::HttpWinInet::HttpClient;

namespace {

std::string Path_Named_By(const std::string& url_or_path) {
    return Is_Written_As_File_Url(url_or_path) ? Path_Of_File_Url(url_or_path) : url_or_path;
}

} // namespace

bool Cache_Inspection::Is_Valid(const std::string& url_or_path) {
    if (Names_Web_File(url_or_path)) {
        const auto request = Create_Request_Object().object;
        return !request || !Failed(request->Open(Inspection_Method.name, url_or_path)); // nothing is sent
    }
    const std::string path = Path_Named_By(url_or_path);
    return path.empty() == url_or_path.empty() && !Util::Holds_Line_Break_Or_Nul(path);
}

bool Cache_Inspection::Is_Left_In_Place(const std::string& url_or_path, int request_kind) {
    const std::string path = Path_Named_By(url_or_path);
    // GCOVR_EXCL_BR_START: exceptions
    return Names_Share_File(path, *OSWRAPI::IOSWrapper::Create()) && FileCache::Is_Left_In_Place(path, request_kind);
    // GCOVR_EXCL_BR_STOP
}

std::optional<Inspected_Setting> Cache_Inspection::Proxy_For(const std::string& url) {
    const auto proxy = Util::Find_Proxy(url);
    if (!proxy) {
        return std::nullopt;
    }
    return Inspected_Setting{"proxy", proxy->text, proxy->place, proxy->text};
}

std::vector<std::string> Cache_Inspection::Addresses_Of(const std::string& url) {
    return Addresses_Of_Server(url);
}

Remote_Answer Cache_Inspection::Ask_Remote_Side(const Request_Explanation& explained) const {
    Response_Details details;
    return Ask_Remote_Side(explained, details);
}

Remote_Answer Cache_Inspection::Ask_Remote_Side(const Request_Explanation& explained, Response_Details& details,
                                                const std::string& address) const {
    const std::lock_guard guard(s_api_mutex);
    const Util::Asking_Anyway asking; // what is remembered of the server is no answer
    const New_Connections connecting(explained.normalised, address);
    // The members that an attempt leaves behind stay with the copy.
    CFileCache probe(*m_State->cache);
    m_State->details = {};
    Remote_Answer answer;
    if (explained.kind == Request_Explanation::Kind::Web) {
        Ask_Web_Server(probe, explained.normalised, answer);
    } else if (explained.kind == Request_Explanation::Kind::Share) {
        Ask_Share(probe, explained.normalised, answer);
    }
    if (const auto& length = m_State->details.content_length; answer.answered && length) {
        m_State->details.refusal = Util::FileSystem::Refusal_Of_Copy(probe.m_Cache_Directory, *length);
    }
    details = m_State->details;
    // A share is asked for the time alone, so that a file which cannot be read counts as unchanged.
    const bool is_stamp_taken = answer.answered || explained.kind == Request_Explanation::Kind::Share;
    answer.unchanged = is_stamp_taken && !answer.last_modified.empty() && explained.entry &&
                       explained.entry->last_modified == answer.last_modified;
    return answer;
}

/// The request of a freshness check.
void Cache_Inspection::Ask_Web_Server(CFileCache& probe, const std::string& url, Remote_Answer& answer) const {
    probe.m_Cert_Error_Detected = false;
    bool failed = false;
    const Http_Response response = probe.Send_HTTP_Request(Inspection_Method, url, failed);
    answer.error = response.error;
    answer.error_text = response.error_text;
    Take(response, answer);
    if (response.end == Http_Response::End::Failed || probe.m_Cert_Error_Detected) {
        Ask_Second_Client(probe, url, answer);
    } else if (response.end == Http_Response::End::Abandoned && response.error == 0) {
        answer.error_text = "The system provides no object for HTTP requests.";
    }
}

/// What a client got, apart from its error.
void Cache_Inspection::Take(const Http_Response& response, Remote_Answer& answer) const {
    answer.answered = response.accepted;
    answer.status = response.status;
    answer.last_modified = response.last_modified;
    auto& details = m_State->details;
    details = {response.final_url, response.content_type, {}, response.age, response.via, 0, response.content_encoding};
    if (std::uint64_t length = 0; Parse_Number(response.content_length, length)) {
        details.content_length = length;
    }
}

void Cache_Inspection::Ask_Second_Client(CFileCache& probe, const std::string& url, Remote_Answer& answer) const {
    const Certificate_Handling handling = Handling_Of(url);
    if (probe.m_Cert_Error_Detected && handling.mode != Util::HttpWinInet::Default && !handling.errors_are_ignored) {
        answer.second = Remote_Answer::Second_Attempt::Not_Allowed;
        return;
    }
    HttpClient client;
    const auto number = static_cast<std::uint32_t>(client.SendWinInetRequest(
        Http_Head, url.c_str(), client.GetHWnd(), static_cast<unsigned long>(probe.m_Connect_Timeout)));
    if (!probe.m_Cert_Error_Detected) {
        // The first client has named no transport error: the second one's number says more. The cache
        // itself would not ask it.
        answer.error = HttpClient::IsErrorInRange(number) ? number : answer.error;
        return;
    }
    answer.second = Remote_Answer::Second_Attempt::Failed;
    if (const std::uint32_t error = client.GetError(); error != 0) {
        if (error != answer.error && answer.status == 0) {
            answer.error = error;
            answer.error_text = client.GetErrorDescription();
        }
        return;
    }
    Http_Response response;
    response.status = static_cast<long>(number);
    response.accepted = number / 100 == 2;
    response.last_modified = client.GetResponseHeader("Last-Modified");
    response.content_type = client.GetResponseHeader("Content-Type");
    if (client.GetResponseHeader("Content-Encoding").empty()) {
        response.content_length = client.GetResponseHeader("Content-Length");
    }
    response.age = client.GetResponseHeader("Age");
    response.via = client.GetResponseHeader("Via");
    response.final_url = client.GetFinalUrl();
    Take(response, answer);
    if (answer.answered) {
        answer.second = Remote_Answer::Second_Attempt::Succeeded;
    }
}

void Cache_Inspection::Ask_Share(CFileCache& probe, const std::string& path, Remote_Answer& answer) const {
    std::int64_t modification_time = 0;
    const Util::Unasked_Share_Server unasked;
    const int error = probe.m_OS_Wrapper->Stat_File(path, modification_time);
    answer.answered = error == 0;
    answer.error = static_cast<std::uint32_t>(error);
    answer.error_text = unasked.Refusal();
    if (answer.answered) {
        answer.last_modified = std::to_string(modification_time);
        try {
            Util::FileSystem::Read_File_Head(path, 1);
            m_State->details.content_length = Util::FileSystem::File_Length(path);
        } catch (const Util::FileSystem::Unreadable_File& unreadable) { // GCOVR_EXCL_BR_LINE: exceptions
            answer.answered = false;                                    // it can be listed, and not read
            answer.error = unreadable.error;
        }
    }
}

} // namespace QEL::FrontEnd::FileCache
