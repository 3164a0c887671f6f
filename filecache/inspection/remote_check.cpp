#include "filecache/inspection/Cache_Inspection.h"

#include "filecache/Process_Wide.h"
#include "filecache/download/Com_Error.h"
#include "filecache/download/http_request.h"
#include "filecache/inspection/Inspection_State.h"
#include "util/HttpClient.h"

namespace QEL::FrontEnd::FileCache {

using Util::HttpWinInet::Http_Head;
using Util::HttpWinInet::HttpClient;

Remote_Answer Cache_Inspection::Ask_Remote_Side(const Request_Explanation& explained) const {
    const std::lock_guard guard(s_api_mutex);
    // The members that an attempt leaves behind stay with the copy.
    CFileCache probe(*m_State->cache);
    Remote_Answer answer;
    if (explained.kind == Request_Explanation::Kind::Web) {
        Ask_Web_Server(probe, explained.normalised, answer);
    } else if (explained.kind == Request_Explanation::Kind::Share) {
        Ask_Share(probe, explained.normalised, answer);
    }
    answer.unchanged = answer.answered && !answer.last_modified.empty() && explained.entry &&
                       explained.entry->last_modified == answer.last_modified;
    return answer;
}

/// The steps of a freshness check with what each one answers.
void Cache_Inspection::Ask_Web_Server(CFileCache& probe, const std::string& url, Remote_Answer& answer) const {
    probe.m_Cert_Error_Detected = false;
    try {
        const std::unique_ptr<IRequest_Object> request = probe.Create_HTTP_Request("Is_Inet_URL_Expired");
        if (const HResult opened = request->Open("HEAD", url); Failed(opened)) {
            // A request that cannot be put together is given up: no client would take it.
            answer.error = static_cast<std::uint32_t>(probe.win32_from_hresult(opened));
            answer.error_text = request->Error_Description(Request_Interface::XMLHTTPRequest);
            return;
        }
        Http_Request::Send(*request);
        const long status = Http_Request::Status(*request);
        probe.Note_Transport_Error(static_cast<std::uint32_t>(status), {});
        if (probe.m_Cert_Error_Detected) {
            answer.error = static_cast<std::uint32_t>(status);
        } else {
            answer.status = status;
            answer.answered = probe.HTTP_Status_OK(status);
            answer.last_modified = Http_Request::Response_Header(*request, "Last-Modified");
            return;
        }
    } catch (const Com_Error& error) {
        answer.error = static_cast<std::uint32_t>(probe.win32_from_hresult(error.Error()));
        answer.error_text = error.Description();
        probe.Note_Transport_Error(answer.error, {});
    } catch (const Request_Abandoned&) {
        answer.error_text = "The system provides no object for HTTP requests.";
        return;
    }
    Ask_Second_Client(probe, url, answer);
}

void Cache_Inspection::Ask_Second_Client(CFileCache& probe, const std::string& url, Remote_Answer& answer) const {
    if (probe.m_Cert_Error_Detected) {
        bool failed = false;
        CacheEntry remote;
        if (probe.Process_Inet_URL_By_WinInet(Http_Head, url, failed, remote)) {
            answer.second = Remote_Answer::Second_Attempt::Succeeded;
            answer.answered = true;
            answer.last_modified = remote.last_modified;
        } else {
            const Certificate_Handling handling = Handling_Of(url);
            const bool was_tried = handling.mode == Util::HttpWinInet::Default || handling.errors_are_ignored;
            answer.second =
                was_tried ? Remote_Answer::Second_Attempt::Failed : Remote_Answer::Second_Attempt::Not_Allowed;
        }
        return;
    }
    // The first client has named no transport error: the second one's number tells more. The cache
    // itself would not ask it.
    HttpClient client;
    const auto number = static_cast<std::uint32_t>(client.SendWinInetRequest(
        Http_Head, url.c_str(), client.GetHWnd(), static_cast<unsigned long>(probe.m_Connect_Timeout)));
    if (HttpClient::IsErrorInRange(number)) {
        answer.error = number;
    }
}

void Cache_Inspection::Ask_Share(CFileCache& probe, const std::string& path, Remote_Answer& answer) const {
    std::int64_t modification_time = 0;
    const int error = probe.m_OS_Wrapper->Stat_File(path, modification_time);
    answer.answered = error == 0;
    answer.error = static_cast<std::uint32_t>(error);
    if (answer.answered) {
        answer.last_modified = std::to_string(modification_time);
    }
}

} // namespace QEL::FrontEnd::FileCache
