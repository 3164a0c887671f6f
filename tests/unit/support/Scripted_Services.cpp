#include "tests/unit/support/Scripted_Services.h"

#include "filecache/oswrap/IOSWrapper.h"
#include "mime/Magic.h"
#include "tests/unit/support/Scripted_OS.h"
#include "util/Configuration_Source.h"
#include "util/Dead_Servers.h"
#include "util/File_Extension.h"
#include "util/File_Head.h"
#include "util/Generate_Uuid.h"
#include "util/HttpClient.h"
#include "util/Last_Error.h"
#include "util/List_File.h"
#include "util/Multibyte_Compare.h"
#include "util/Path_Queries.h"
#include "util/Path_Separator.h"
#include "util/Process.h"
#include "util/Registry.h"
#include "util/Standard_Error.h"
#include "util/Trace_Directory.h"
#include "util/Trace_File.h"

Scripted_Services g_services;

namespace QEL::FrontEnd::OSWRAPI {

std::shared_ptr<IOSWrapper> IOSWrapper::Create() {
    ++g_services.os_created;
    return std::make_shared<Scripted_OS>();
}

} // namespace QEL::FrontEnd::OSWRAPI

namespace QEL::FrontEnd::Util {

std::string Generate_Uuid() {
    if (g_services.uuid_throws) {
        throw std::runtime_error("no UUID");
    }
    if (!g_services.uuids.empty()) {
        std::string uuid = g_services.uuids.front();
        g_services.uuids.pop_front();
        return uuid;
    }
    std::array<char, 37> uuid{};
    std::snprintf(uuid.data(), uuid.size(), "00000000-0000-0000-0000-%012d", ++g_services.uuid_counter);
    return uuid.data();
}

void Set_Last_Error(std::uint32_t error) {
    g_services.last_error = error;
}
std::uint32_t Get_Last_Error() {
    return g_services.last_error;
}

int Process_Id() {
    return g_services.process_id;
}
int Thread_Id() {
    return 17;
}
std::string Program_Path() {
    return g_services.program_path;
}
std::shared_ptr<void> Hold_Length_Signal() {
    return g_services.length_signal;
}
std::tm Local_Time() {
    return g_services.local_time ? g_services.local_time() : std::tm{};
}
std::FILE* Standard_Error() {
    return stderr;
}

int Compare_Ignoring_Case(const std::string& left, const std::string& right) {
    const auto upper = [](std::string text) {
        std::transform(text.begin(), text.end(), text.begin(),
                       [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
        return text;
    };
    return upper(left).compare(upper(right));
}

void GetRegValInt(std::int32_t& target, const char* key, const char* value, int also_machine) {
    g_services.registry_calls.push_back(std::string(key) + ", " + value + ", " + std::to_string(also_machine));
    const auto& seconds =
        value == std::string(Server_Retry_Value) ? g_services.server_retry_seconds : g_services.connect_timeout_seconds;
    target = seconds.value_or(target);
}

std::optional<Configured_Value> Find_Configured_Value(const char*, const char* value) {
    const auto found = g_services.configured.find(value);
    return found == g_services.configured.end() ? std::nullopt
                                                : std::optional(Configured_Value{"the place", found->second});
}

std::optional<Configured_Value> Find_Proxy(const std::string&) {
    return g_services.proxy;
}

std::vector<std::string> Configuration_Faults() {
    return {g_services.configuration_problem};
}

std::string Configuration_Problem() {
    return g_services.configuration_problem;
}

namespace FileSystem {

std::string File_Extension(const std::string& path) {
    if (g_services.on_file_extension) {
        return g_services.on_file_extension(path);
    }
    const auto separator = path.find_last_of("\\/");
    const auto dot = path.rfind('.');
    const bool has_extension = dot != std::string::npos && (separator == std::string::npos || dot > separator);
    return has_extension ? path.substr(dot + 1) : std::string();
}

char Path_Separator(const std::string& directory) {
    return directory.starts_with('/') ? '/' : '\\';
}

bool Path_Exists(const std::string& path) {
    g_services.path_calls.push_back("Path_Exists(" + path + ")");
    return g_services.on_path_exists && g_services.on_path_exists(path);
}

std::optional<std::uint64_t> File_Length(const std::string&) {
    return g_services.file_length;
}

std::uint32_t Refusal_Of_Copy(const std::string&, std::uint64_t bytes) {
    return bytes > g_services.largest_copy ? 223 : bytes > g_services.room ? 112 : 0;
}

Occupant Occupant_Of(const std::string& path) {
    if (path == g_services.pipe) {
        return Occupant::Other;
    }
    return std::filesystem::exists(path) ? Occupant::File : Occupant::Nothing;
}

void Make_Private_File(const std::string&) {}

bool Outlast_Exclusive_Use(const std::string&, std::ios::openmode mode) {
    return g_services.on_exclusive_use && g_services.on_exclusive_use(mode);
}

std::string Read_File_Head(const std::string& path, std::size_t) {
    if (g_services.file_unreadable) {
        throw Unreadable_File(path + ": access is denied", 5);
    }
    return {};
}

class Directory_Mark::Mark {};
Directory_Mark::Directory_Mark(const std::string& directory) {
    g_services.marked_directories.push_back(directory);
}
Directory_Mark::~Directory_Mark() {
    ++g_services.marks_ended;
}

std::vector<Marking_Process> Other_Processes_On(const std::string&) {
    return g_services.other_processes;
}

std::uint32_t Get_File_Attributes(const std::string& path) {
    g_services.path_calls.push_back("Get_File_Attributes(" + path + ")");
    return g_services.on_get_file_attributes ? g_services.on_get_file_attributes(path) : Invalid_Attributes;
}

} // namespace FileSystem

std::optional<std::int32_t> Largest_File_Megabytes() {
    return g_services.largest_file_megabytes;
}

std::vector<Configured_Value> Configured_Authorities() {
    return g_services.authorities;
}

namespace HttpWinInet {

void Read_CertErrorHandling_Parameters(CertErrorHandlingMode& mode, std::vector<std::string>& white_list) {
    ++g_services.cert_parameters_read;
    mode = static_cast<CertErrorHandlingMode>(g_services.cert_mode);
    white_list = g_services.white_list;
}

struct HttpClient::Response {};

HttpClient::HttpClient() {
    g_services.client_calls.emplace_back("HttpClient");
}
HttpClient::~HttpClient() {
    g_services.client_calls.emplace_back("~HttpClient");
}

Window_Handle HttpClient::GetHWnd() const {
    return &g_services;
}

void HttpClient::SetCopyDirectory(const std::string&) {}

unsigned long HttpClient::SendWinInetRequest(int http_type, const char* url, Window_Handle window,
                                             unsigned long timeout) {
    g_services.client_calls.push_back("SendWinInetRequest(" + std::to_string(http_type) + ", " + url + ", " +
                                      (window == &g_services ? "own window" : "other window") + ", " +
                                      std::to_string(timeout) + ")");
    if (g_services.client.during_send) {
        g_services.client.during_send();
    }
    return g_services.client.status;
}

std::uint32_t HttpClient::GetError() const {
    const auto status = g_services.client.status;
    return status < 100 || status > 999 ? static_cast<std::uint32_t>(status) : 0;
}
const std::string& HttpClient::GetErrorDescription() const {
    static const std::string s_none;
    return s_none;
}
std::string HttpClient::GetResponseHeader(const char* name) const {
    g_services.client_calls.push_back(std::string("GetResponseHeader(") + name + ")");
    return g_services.client.headers[name];
}

std::string HttpClient::GetFinalUrl() const {
    return g_services.client.final_url;
}

Body_Publication HttpClient::GetBodyPublication() const {
    return g_services.client.publication;
}

std::string_view HttpClient::GetResponseBody() const {
    g_services.client_calls.emplace_back("GetResponseBody");
    return g_services.client.body;
}

} // namespace HttpWinInet

namespace Tracing {

std::FILE* Open_Trace_File(const std::string& path) {
    return std::fopen(path.c_str(), "w");
}

void InitBuffer(Directory_Buffer& buffer) {
    g_services.directory_calls.emplace_back("InitBuffer");
    buffer.fill('\0');
}

int InitTraceDir(Directory_Buffer& buffer) {
    g_services.directory_calls.emplace_back("InitTraceDir");
    g_services.trace_directory.copy(buffer.data(), buffer.size() - 1);
    return g_services.trace_directory.empty() ? 0 : 1;
}

std::string Trace_Directory_Source() {
    return g_services.trace_directory.empty() ? "" : "the place";
}

std::shared_ptr<System_Mutex> System_Mutex::Open_Trace_Lock() {
    ++g_services.mutexes_opened;
    return g_services.mutex;
}

} // namespace Tracing

} // namespace QEL::FrontEnd::Util

namespace QEL::Mime {

Magic::Magic(Magic&& other) noexcept : m_Initialized(std::exchange(other.m_Initialized, false)) {}

Magic& Magic::operator=(Magic&& other) noexcept {
    m_Initialized = std::exchange(other.m_Initialized, false);
    return *this;
}

bool Magic::Is_Initialized() const {
    return m_Initialized;
}

void Magic::Read_From_Builtin_Resource() {
    ++g_services.magic_loaded;
    m_Initialized = g_services.magic_loads;
}

std::string Magic::Get_Mime_Type_For_Data(const char* data, std::size_t size) const {
    g_services.magic_calls.push_back("Get_Mime_Type_For_Data(" + std::string(data, size) + ")");
    return g_services.type_for_data;
}

std::string Magic::Get_Mime_Type_For_File(const std::string& path) const {
    g_services.magic_calls.push_back("Get_Mime_Type_For_File(" + path + ")");
    if (g_services.file_unreadable) {
        throw std::runtime_error("unreadable: " + path);
    }
    return g_services.type_for_file;
}

bool Magic::Get_Extension_From_Mime_Type(const std::string& mime_type, std::string& extension) const {
    g_services.magic_calls.push_back("Get_Extension_From_Mime_Type(" + mime_type + ")");
    const auto found = g_services.extensions.find(mime_type);
    if (found == g_services.extensions.end()) {
        extension.clear();
        return false;
    }
    extension = found->second;
    return true;
}

} // namespace QEL::Mime

namespace QEL::FrontEnd::FileCache {

namespace {

void Note_Request(const std::string& call) {
    g_services.request_calls.push_back(call);
}

/// A request object that works from its script.
class Scripted_Request : public IRequest_Object {
public:
    explicit Scripted_Request(Scripted_Services::Request_Script script) : m_Script(std::move(script)) {
        ++g_services.requests_alive;
    }
    ~Scripted_Request() override {
        --g_services.requests_alive;
        Note_Request("Release");
    }

    HResult Set_Timeouts(int resolve, int connect, int send, int receive) override {
        Note_Request("Set_Timeouts(" + std::to_string(resolve) + ", " + std::to_string(connect) + ", " +
                     std::to_string(send) + ", " + std::to_string(receive) + ")");
        return m_Script.set_timeouts;
    }

    HResult Open(const char* method, const std::string& url) override {
        Note_Request(std::string("Open(") + method + ", " + url + ")");
        return m_Script.open;
    }

    HResult Send() override {
        Note_Request("Send");
        if (m_Script.during_send) {
            m_Script.during_send();
        }
        return m_Script.send;
    }

    std::string Final_Url() override { return m_Script.final_url; }

    long Proxy_Status() override { return m_Script.proxy_status; }

    HResult Get_Status(long& status) override {
        Note_Request("Get_Status");
        const std::size_t read = m_Status_Reads++;
        status = m_Script.status[std::min(read, m_Script.status.size() - 1)];
        return m_Script.get_status[std::min(read, m_Script.get_status.size() - 1)];
    }

    HResult Get_Response_Header(const char* name, std::string& value) override {
        Note_Request(std::string("Get_Response_Header(") + name + ")");
        value = m_Script.headers[name];
        return m_Script.get_header[name];
    }

    HResult Get_Response_Body(Response_Body& body) override {
        Note_Request("Get_Response_Body");
        body.type = Byte_Array_Type;
        body.dimensions = 1;
        body.lower_bound = 0;
        body.upper_bound = static_cast<std::int32_t>(m_Script.body.size()) - 1;
        ++g_services.bodies_locked;
        // The bytes outlive the object: whoever has the lock has them.
        const std::shared_ptr<const std::string> bytes(new std::string(m_Script.body), [](const std::string* held) {
            --g_services.bodies_locked;
            delete held;
        });
        body.data = bytes->data();
        body.lock = bytes;
        if (m_Script.change_body) {
            m_Script.change_body(body);
        }
        return m_Script.get_body;
    }

    std::string Error_Description(Request_Interface failed_interface) override {
        Note_Request(failed_interface == Request_Interface::ServerXMLHTTPRequest
                         ? "Error_Description(ServerXMLHTTPRequest)"
                         : "Error_Description(XMLHTTPRequest)");
        return m_Script.description;
    }

private:
    Scripted_Services::Request_Script m_Script;
    std::size_t m_Status_Reads = 0;
};

} // namespace

std::vector<std::string> Addresses_Of_Server(const std::string& url) {
    return {"the address of " + url};
}

Request_Object_Creation Create_Request_Object(const std::string&) {
    Note_Request("Create");
    const std::size_t number = std::min(g_services.requests_created++, g_services.requests.size() - 1);
    const Scripted_Services::Request_Script& script = g_services.requests[number];
    if (script.creation_fails) {
        return {nullptr, script.creation_result, script.creation_last_error};
    }
    return {std::make_unique<Scripted_Request>(script), 0, 0};
}

} // namespace QEL::FrontEnd::FileCache
