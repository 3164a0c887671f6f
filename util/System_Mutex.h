#pragma once

#include <cstdint>
#include <memory>

namespace QEL::FrontEnd::Util::Tracing {

/// A mutex of all processes of one user, with which trace writers take turns.
/// Survives the death of its holder. Its holder must not wait for it again.
class System_Mutex {
public:
    enum class Wait_Result {
        Acquired,
        Abandoned, ///< the previous holder died; the caller now holds the mutex
        Timed_Out,
        Failed ///< Last_Error() says why
    };

    /// The trace lock. Null when the system refuses it.
    static std::shared_ptr<System_Mutex> Open_Trace_Lock();

    virtual ~System_Mutex() = default;

    /// Waits for the mutex, for at most `milliseconds`.
    virtual Wait_Result Wait(std::uint32_t milliseconds) = 0;

    /// Releases the mutex. False when the calling thread does not hold it.
    virtual bool Release() = 0;

    /// The system's code for the last failure of Wait or Release on this thread.
    virtual std::uint32_t Last_Error() const = 0;
};

} // namespace QEL::FrontEnd::Util::Tracing
