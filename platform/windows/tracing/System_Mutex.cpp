#include "util/System_Mutex.h"

#include "platform/windows/handles/Unique_Handle.h"

#include <array>
#include <string>
#include <utility>

namespace QEL::FrontEnd::Util::Tracing {

namespace {

using Platform::Object_Handle;

class Named_Mutex : public System_Mutex {
public:
    explicit Named_Mutex(Object_Handle mutex) : m_Mutex(std::move(mutex)) {}

    Wait_Result Wait(std::uint32_t milliseconds) override {
        switch (WaitForSingleObject(m_Mutex.Get(), milliseconds)) {
        case WAIT_OBJECT_0:
            return Wait_Result::Acquired;
        case WAIT_ABANDONED:
            return Wait_Result::Abandoned;
        case WAIT_TIMEOUT:
            return Wait_Result::Timed_Out;
        default:
            return Wait_Result::Failed;
        }
    }

    bool Release() override { return ReleaseMutex(m_Mutex.Get()) != 0; }

    std::uint32_t Last_Error() const override { return GetLastError(); }

private:
    const Object_Handle m_Mutex;
};

/// The processes of one user in one session share the mutex. The user's name is part of the mutex's
/// name, because another user's process in the session may not open it.
std::string Trace_Lock_Name() {
    std::array<char, 257> user{};
    DWORD size = static_cast<DWORD>(user.size());
    if (GetUserNameA(user.data(), &size) == 0) {
        user.front() = '\0';
    }
    return std::string("Local\\QEL_Trace_") + user.data();
}

} // namespace

std::shared_ptr<System_Mutex> System_Mutex::Open_Trace_Lock() {
    const std::string name = Trace_Lock_Name();
    Object_Handle mutex(CreateMutexA(nullptr, FALSE, name.c_str()));
    if (!mutex.Is_Open() && GetLastError() == ERROR_ACCESS_DENIED) {
        // A process of the user's that is elevated has made it: waiting and releasing are allowed, all else is not.
        mutex = Object_Handle(CreateMutexExA(nullptr, name.c_str(), 0, SYNCHRONIZE));
    }
    if (!mutex.Is_Open()) {
        return nullptr;
    }
    return std::make_shared<Named_Mutex>(std::move(mutex));
}

} // namespace QEL::FrontEnd::Util::Tracing
