#pragma once

#include "tests/support/Standard_Library.h"
#include "util/Cert_Error_Handling.h"
#include "util/Configuration_Source.h"
#include "util/Directory_Mark.h"
#include "util/IRequest_Object.h"
#include "util/System_Mutex.h"

/// The services behind the product, as the unit tests link them: they work from this script and
/// note what they were asked. The fixture starts each test with a fresh script.
struct Scripted_Services {
    using HResult = QEL::FrontEnd::FileCache::HResult;
    using Response_Body = QEL::FrontEnd::FileCache::Response_Body;

    int os_created = 0; ///< operating-system services handed out by the factory

    // Trace
    int process_id = 7;
    std::string program_path = "C:\\host\\program.exe";
    std::function<std::tm()> local_time;                               ///< without: the beginning of time
    std::shared_ptr<QEL::FrontEnd::Util::Tracing::System_Mutex> mutex; ///< what opening the lock gives
    int mutexes_opened = 0;
    std::shared_ptr<void> length_signal; ///< null: files have no limit
    std::string trace_directory;         ///< empty: none is configured
    std::vector<std::string> directory_calls;

    // Names
    std::deque<std::string> uuids; ///< handed out first; then made from a counter
    int uuid_counter = 0;
    bool uuid_throws = false;
    std::function<std::string(const std::string&)> on_file_extension; ///< without: what follows the last dot

    // MIME library
    bool magic_loads = true; ///< loading the tables makes the detector initialised
    int magic_loaded = 0;    ///< how often they were loaded
    std::map<std::string, std::string> extensions = {{"text/plain", ".txt"}, {"text/xml", ".xml"}};
    std::string type_for_data = "text/plain";
    std::string type_for_file = "text/plain";
    bool file_unreadable = false;
    std::vector<std::string> magic_calls;

    // Path queries and last error
    std::function<bool(const std::string&)> on_path_exists;                  ///< without: false
    std::function<std::uint32_t(const std::string&)> on_get_file_attributes; ///< without: all bits set
    std::optional<std::uint64_t> file_length;                                ///< of every file
    std::uint64_t room = std::numeric_limits<std::uint64_t>::max();          ///< of the file system
    std::uint64_t largest_copy = std::numeric_limits<std::uint64_t>::max();  ///< by the configuration
    std::string pipe;                                                        ///< the path that is one
    std::vector<std::string> path_calls;
    /// Whether another program has kept a file to itself, and no longer does; without: false.
    std::function<bool(std::ios::openmode)> on_exclusive_use;
    std::vector<std::string> marked_directories;
    int marks_ended = 0;
    std::vector<QEL::FrontEnd::Util::FileSystem::Marking_Process> other_processes; ///< on every directory
    std::uint32_t last_error = 0;

    // Configuration
    std::optional<std::int32_t> connect_timeout_seconds;
    std::optional<std::int32_t> server_retry_seconds;
    std::vector<std::string> registry_calls;
    int cert_mode = 0;
    std::vector<QEL::FrontEnd::Util::Configured_Value> authorities; ///< variables and what they name
    std::vector<std::string> white_list;
    int cert_parameters_read = 0;
    std::optional<std::int32_t> largest_file_megabytes;
    std::map<std::string, std::string> configured; ///< what is written in "the place", by name
    std::string configuration_problem;
    std::optional<QEL::FrontEnd::Util::Configured_Value> proxy;

    // First HTTP client: one script for each object, in order of creation. The last one serves all
    // further objects.
    struct Request_Script {
        bool creation_fails = false;
        HResult creation_result = 0;
        std::uint32_t creation_last_error = 0;
        HResult set_timeouts = 0;
        HResult open = 0;
        HResult send = 0;
        long proxy_status = 0;
        std::string final_url;
        /// Results of the status reads, one after the other; the last one stays.
        std::vector<HResult> get_status = {0};
        std::vector<long> status = {200};
        std::map<std::string, HResult> get_header; ///< by name; absent: success
        std::map<std::string, std::string> headers;
        HResult get_body = 0;
        std::string body;
        std::function<void(Response_Body&)> change_body; ///< what the object claims of its body
        std::string description;                         ///< text of each error
        std::function<void()> during_send;
    };
    std::vector<Request_Script> requests = {Request_Script{}};
    std::size_t requests_created = 0;
    int requests_alive = 0;
    int bodies_locked = 0; ///< bodies handed out and not released
    /// Every call of a request object: "Create", "Open(GET, url)", "Get_Response_Header(name)", ...
    std::vector<std::string> request_calls;

    // Second HTTP client
    struct Client_Script {
        unsigned long status = 200;
        std::map<std::string, std::string> headers;
        std::string body;
        std::string final_url;
        QEL::FrontEnd::Util::Body_Publication publication = {};
        std::function<void()> during_send = {};
    };
    Client_Script client;
    std::vector<std::string> client_calls;

    void Reset() { *this = Scripted_Services(); }
};

extern Scripted_Services g_services;
