#include "tests/faults/support/Failing_Request_Object.h"
#include "util/Non_Copyable.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace QEL::FrontEnd::FileCache {

// The linker gives every call of Create_Request_Object() to the first of these, and the real function
// the name of the second (option --wrap).
Request_Object_Creation
Create_Failing_Request_Object() __asm__("__wrap__ZN3QEL8FrontEnd9FileCache21Create_Request_ObjectEv");
Request_Object_Creation
Create_Real_Request_Object() __asm__("__real__ZN3QEL8FrontEnd9FileCache21Create_Request_ObjectEv");

namespace {

std::size_t s_calls_left = 0;
HResult s_result = 0;
int s_alive = 0;

/// The result of the call when it is the one.
std::optional<HResult> Failure() {
    if (s_calls_left == 0 || --s_calls_left > 0) {
        return std::nullopt;
    }
    return s_result;
}

class Failing_Request : public IRequest_Object, private FrontEnd::Util::Non_Copyable {
public:
    explicit Failing_Request(std::unique_ptr<IRequest_Object> real) : m_Real(std::move(real)) { ++s_alive; }
    ~Failing_Request() override { --s_alive; }

    HResult Set_Timeouts(int resolve, int connect, int send, int receive) override {
        return Call([&] { return m_Real->Set_Timeouts(resolve, connect, send, receive); });
    }
    HResult Open(const char* method, const std::string& url) override {
        return Call([&] { return m_Real->Open(method, url); });
    }
    HResult Send() override {
        return Call([&] { return m_Real->Send(); });
    }
    HResult Get_Status(long& status) override {
        return Call([&] { return m_Real->Get_Status(status); });
    }
    HResult Get_Response_Header(const char* name, std::string& value) override {
        return Call([&] { return m_Real->Get_Response_Header(name, value); });
    }
    HResult Get_Response_Body(Response_Body& body) override {
        return Call([&] { return m_Real->Get_Response_Body(body); });
    }
    std::string Error_Description(Request_Interface failed_interface) override {
        return m_Real->Error_Description(failed_interface);
    }

private:
    template <typename Real_Call>
    static HResult Call(Real_Call real_call) {
        const auto failure = Failure();
        return failure ? *failure : real_call();
    }

    const std::unique_ptr<IRequest_Object> m_Real;
};

} // namespace

Request_Object_Creation Create_Failing_Request_Object() {
    if (const auto failure = Failure()) {
        return {nullptr, *failure, 0};
    }
    Request_Object_Creation creation = Create_Real_Request_Object();
    if (creation.object) {
        creation.object = std::make_unique<Failing_Request>(std::move(creation.object));
    }
    return creation;
}

} // namespace QEL::FrontEnd::FileCache

namespace QEL::Tests {

void Failing_Request_Object::Fail(std::size_t call, FrontEnd::FileCache::HResult result) {
    FrontEnd::FileCache::s_calls_left = call;
    FrontEnd::FileCache::s_result = result;
}

bool Failing_Request_Object::Has_Failed() {
    return std::exchange(FrontEnd::FileCache::s_calls_left, 0) == 0;
}

int Failing_Request_Object::Alive() {
    return FrontEnd::FileCache::s_alive;
}

} // namespace QEL::Tests
