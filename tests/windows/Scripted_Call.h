#pragma once

#include "tests/support/Standard_Library.h"

#include <windows.h>

#undef FindFirstFile
#undef FindNextFile

namespace QEL::Tests {

/// Where this program looks up the address of a call of a DLL; null when it never makes that call.
inline ULONG_PTR* Imported_Address(std::string_view call) {
    char* const program = reinterpret_cast<char*>(GetModuleHandleA(nullptr));
    const auto* headers =
        reinterpret_cast<IMAGE_NT_HEADERS*>(program + reinterpret_cast<IMAGE_DOS_HEADER*>(program)->e_lfanew);
    const auto& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    auto* library = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(program + imports.VirtualAddress);
    for (; library->Name != 0; ++library) {
        auto* name = reinterpret_cast<IMAGE_THUNK_DATA*>(program + library->OriginalFirstThunk);
        auto* address = reinterpret_cast<IMAGE_THUNK_DATA*>(program + library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++address) {
            if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) &&
                call == reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(program + name->u1.AddressOfData)->Name) {
                return reinterpret_cast<ULONG_PTR*>(&address->u1.Function);
            }
        }
    }
    return nullptr;
}

/// What ends the scripts of all calls.
inline std::vector<std::function<void()>> s_ends_of_scripts;

inline void End_Scripts() {
    for (const auto& end_script : s_ends_of_scripts) {
        end_script();
    }
}

/// A call of the system that a test answers in its place; without a script the system does.
template <typename Function>
struct System_Call;

template <typename Result, typename... Arguments>
struct System_Call<Result WINAPI(Arguments...)> {
    using Function = Result WINAPI(Arguments...);

    System_Call(const char* name, Function* answer) {
        if (ULONG_PTR* const address = Imported_Address(name)) {
            Real = reinterpret_cast<Function*>(*address);
            DWORD protection = 0;
            VirtualProtect(address, sizeof(*address), PAGE_READWRITE, &protection);
            *address = reinterpret_cast<ULONG_PTR>(answer);
        }
        s_ends_of_scripts.push_back([this] { script = nullptr; });
    }

    std::function<Result(Arguments...)> script;
    Function* Real = nullptr;
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

#define SCRIPTED(call)                                                                                                 \
    namespace QEL::Tests {                                                                                             \
    namespace {                                                                                                        \
    extern System_Call<decltype(call)> s_##call;                                                                       \
    System_Call<decltype(call)> s_##call(#call, &Replacement<s_##call, decltype(call)>::Answer);                       \
    }                                                                                                                  \
    }
