#pragma once

#include <cstdint>
#include <memory>

namespace QEL::FrontEnd::Util::Tracing {

/// A mutex that all processes of one user share, by which trace writers take turns.
/// Survives the death of its holder. Not recursive across Wait calls of one thread.
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

    /// Waits for the mutex, `milliseconds` at the longest.
    virtual Wait_Result Wait(std::uint32_t milliseconds) = 0;

    /// Gives the mutex back. False when the calling thread does not hold it.
    virtual bool Release() = 0;

    /// The system's code for the last failure of Wait or Release on this thread.
    virtual std::uint32_t Last_Error() const = 0;
};

} // namespace QEL::FrontEnd::Util::Tracing
