#pragma once

#include <windows.h>

#undef FindFirstFile
#undef FindNextFile

#include <functional>

namespace QEL::Tests {

/// A call of the system that a test answers in its place; without a script the system does.
template <typename Function, const auto& Name>
struct System_Call;

template <typename Result, typename... Arguments, const auto& Name>
struct System_Call<Result WINAPI(Arguments...), Name> {
    std::function<Result(Arguments...)> script;

    static Result Real(Arguments... arguments) {
        FARPROC call = nullptr;
        for (const char* library : {"kernel32.dll", "wininet.dll", "crypt32.dll"}) {
            call = call != nullptr ? call : GetProcAddress(GetModuleHandleA(library), Name);
        }
        return reinterpret_cast<Result(WINAPI*)(Arguments...)>(reinterpret_cast<void*>(call))(arguments...);
    }
};

template <auto& Call, typename Function>
struct Replacement;

template <auto& Call, typename Result, typename... Arguments>
struct Replacement<Call, Result WINAPI(Arguments...)> {
    static Result WINAPI Answer(Arguments... arguments) {
        return Call.script ? Call.script(arguments...) : Call.Real(arguments...);
    }
};

} // namespace QEL::Tests

/// Where the compiler looks up the address of a call of a DLL.
#define SCRIPTED(call)                                                                                                 \
    namespace QEL::Tests {                                                                                             \
    namespace {                                                                                                        \
    constexpr char name_of_##call[] = #call;                                                                           \
    System_Call<decltype(call), name_of_##call> s_##call;                                                              \
    }                                                                                                                  \
    }                                                                                                                  \
    extern "C" {                                                                                                       \
    decltype(&call) __imp_##call = &QEL::Tests::Replacement<QEL::Tests::s_##call, decltype(call)>::Answer;             \
    }
