// Three processes take part: this one makes a pseudo console; a watcher is its first process, and looks at the
// window when the piece, which it starts, has ended.
#include "support/windows/console_window.h"

#include <windows.h>
// After windows.h.
#include <fcntl.h>
#include <io.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "os/process.h"
#include "os/windows/utf8.h"
#include "support/child.h"
#include "support/run_program.h"

namespace kalvor_test {
namespace {

using trel::os::to_utf16;
using trel::os::to_utf8;

constexpr DWORD kLongest = 120000;  // milliseconds

std::wstring own_path() {
    return to_utf16(*trel::os::executable_path());
}

HANDLE open_console(const wchar_t* name) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    return CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit,
                       OPEN_EXISTING, 0, nullptr);
}

int exit_code_of(const PROCESS_INFORMATION& process) {
    DWORD code = DWORD(-1);
    if (WaitForSingleObject(process.hProcess, kLongest) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process.hProcess, &code);
    } else {
        TerminateProcess(process.hProcess, code);
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return static_cast<int>(code);
}

// ---- the piece's process

const Child piece("on the console", [] {
    const HANDLE input = open_console(L"CONIN$"), output = open_console(L"CONOUT$");
    _dup2(_open_osfhandle(reinterpret_cast<intptr_t>(input), _O_RDONLY), 0);
    _dup2(_open_osfhandle(reinterpret_cast<intptr_t>(output), _O_WRONLY), 1);
    SetStdHandle(STD_INPUT_HANDLE, reinterpret_cast<HANDLE>(_get_osfhandle(0)));
    SetStdHandle(STD_OUTPUT_HANDLE, reinterpret_cast<HANDLE>(_get_osfhandle(1)));
    if (!run_child(trel::os::command_line(0, nullptr).at(3))) std::exit(98);
});

// ---- the watcher

std::string text_of(HANDLE output, const SMALL_RECT& window) {
    std::string text;
    WORD attribute = 7;
    std::size_t empty_lines = 0;
    for (SHORT y = window.Top; y <= window.Bottom; y++) {
        std::vector<CHAR_INFO> cells(static_cast<std::size_t>(window.Right - window.Left + 1));
        SMALL_RECT row = {window.Left, y, window.Right, y};
        ReadConsoleOutputW(output, cells.data(), {static_cast<SHORT>(cells.size()), 1}, {0, 0}, &row);
        while (!cells.empty() && cells.back().Char.UnicodeChar == L' ') cells.pop_back();
        if (y != window.Top) empty_lines++;
        if (cells.empty()) continue;
        text.append(empty_lines, '\n');
        empty_lines = 0;
        for (const CHAR_INFO& cell : cells) {
            if (cell.Char.UnicodeChar != L' ' && cell.Attributes != attribute) {
                attribute = cell.Attributes;
                text += "{" + std::to_string(attribute) + "}";
            }
            text += to_utf8(std::wstring(1, cell.Char.UnicodeChar));
        }
    }
    return text;
}

// The words behind its name: the file for what it sees, the piece.
const Child watcher("console watcher", [] {
    // A piece that interrupts what is on its console interrupts this process too.
    SetConsoleCtrlHandler([](DWORD) -> BOOL { return TRUE; }, TRUE);
    const std::vector<std::string> words = trel::os::command_line(0, nullptr);
    std::wstring command = L"\"" + own_path() + L"\" --child \"on the console\" \"" + to_utf16(words.at(4)) + L"\"";
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION process{};
    const BOOL started = CreateProcessW(own_path().c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                        nullptr, &start, &process);
    const int exit_code = started ? exit_code_of(process) : -1;
    const HANDLE output = open_console(L"CONOUT$");
    CONSOLE_SCREEN_BUFFER_INFO info{};
    GetConsoleScreenBufferInfo(output, &info);
    std::ofstream(words.at(3), std::ios::binary)
        << exit_code << ' ' << info.srWindow.Right - info.srWindow.Left + 1 << ' '
        << info.srWindow.Bottom - info.srWindow.Top + 1 << '\n'
        << text_of(output, info.srWindow);
});

// ---- the test's process

// Since Windows 10 1809.
struct PseudoConsoleCalls {
    HRESULT(WINAPI* create)(COORD size, HANDLE input, HANDLE output, DWORD flags, void** console);
    void(WINAPI* close)(void* console);
};

PseudoConsoleCalls pseudo_console_calls() {
    const HMODULE library = GetModuleHandleW(L"kernel32.dll");
    const auto find = [&](const char* name) { return reinterpret_cast<void*>(GetProcAddress(library, name)); };
    return {reinterpret_cast<decltype(PseudoConsoleCalls::create)>(find("CreatePseudoConsole")),
            reinterpret_cast<decltype(PseudoConsoleCalls::close)>(find("ClosePseudoConsole"))};
}

constexpr DWORD_PTR kPseudoConsoleAttribute = 0x00020016;

bool start_watcher(std::wstring command, const std::string& folder, void* console,
                   PROCESS_INFORMATION& process) {
    SIZE_T bytes = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &bytes);
    std::vector<char> memory(bytes);
    STARTUPINFOEXW start{};
    start.StartupInfo.cb = sizeof start;
    start.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
    InitializeProcThreadAttributeList(start.lpAttributeList, 1, 0, &bytes);
    UpdateProcThreadAttribute(start.lpAttributeList, 0, kPseudoConsoleAttribute, console, sizeof console,
                              nullptr, nullptr);
    const std::wstring wide_folder = to_utf16(folder);
    return CreateProcessW(own_path().c_str(), command.data(), nullptr, nullptr, FALSE,
                          EXTENDED_STARTUPINFO_PRESENT, nullptr,
                          folder.empty() ? nullptr : wide_folder.c_str(), &start.StartupInfo, &process);
}

}  // namespace

ConsoleRun run_on_console(const std::string& child, const std::string& keys, const std::string& folder) {
    const PseudoConsoleCalls calls = pseudo_console_calls();
    if (calls.create == nullptr || calls.close == nullptr) return {};
    const TemporaryFolder results;
    const std::string seen = results / "seen";

    HANDLE inner_input, keyboard, picture, inner_output;
    if (!CreatePipe(&inner_input, &keyboard, nullptr, 0)) return {};
    if (!CreatePipe(&picture, &inner_output, nullptr, 0)) return {};
    void* console = nullptr;
    const HRESULT made = calls.create({100, 40}, inner_input, inner_output, 0, &console);
    CloseHandle(inner_input);
    CloseHandle(inner_output);
    if (made != S_OK) return {};
    // What the window would show, with its escapes: taken so that nothing waits for room.
    std::thread drain([&] {
        char buffer[4096];
        for (DWORD n; ReadFile(picture, buffer, sizeof buffer, &n, nullptr) && n != 0;) {
        }
    });
    DWORD written = 0;
    WriteFile(keyboard, keys.data(), static_cast<DWORD>(keys.size()), &written, nullptr);
    PROCESS_INFORMATION process{};
    const std::wstring command = L"\"" + own_path() + L"\" --child \"console watcher\" \"" + to_utf16(seen) +
                                 L"\" \"" + to_utf16(child) + L"\"";
    if (start_watcher(command, folder, console, process)) exit_code_of(process);
    CloseHandle(keyboard);
    calls.close(console);
    drain.join();
    CloseHandle(picture);

    ConsoleRun run;
    std::istringstream text(read_file(seen));
    text >> run.exit_code >> run.columns >> run.rows;
    text.ignore();  // the end of the line
    std::ostringstream screen;
    screen << text.rdbuf();
    run.screen = screen.str();
    return run;
}

}  // namespace kalvor_test
