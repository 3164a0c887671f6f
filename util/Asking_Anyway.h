#pragma once

namespace QEL::FrontEnd::Util {

/// While it lives, the requests of its thread are sent even where a server has lately cost time in vain and the
/// services would answer with what they remember.
class Asking_Anyway {
public:
    Asking_Anyway() { ++t_count; }
    Asking_Anyway(const Asking_Anyway&) = delete;
    Asking_Anyway& operator=(const Asking_Anyway&) = delete;
    ~Asking_Anyway() { --t_count; }

    /// Whether this thread has one.
    static bool Is_On() { return t_count > 0; }

private:
    inline static thread_local int t_count = 0;
};

} // namespace QEL::FrontEnd::Util
