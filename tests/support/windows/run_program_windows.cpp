#include <windows.h>
// After windows.h.
#include <psapi.h>

#include <cwchar>
#include <filesystem>

#include "os/windows/utf8.h"
#include "support/run_program.h"

namespace kalvor_test {
namespace {

using trel::os::to_utf16;

// One word of a command line, as CommandLineToArgvW() reads it.
std::wstring quoted(const std::wstring& word) {
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : word) {
        if (c == L'\\') {
            backslashes++;
            continue;
        }
        // Backslashes count only before a quotation mark.
        text.append(c == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
        backslashes = 0;
        text += c;
    }
    text.append(2 * backslashes, L'\\');
    return text + L"\"";
}

// This process's variables and then those of the options: the last one of a name counts nowhere, so earlier
// ones go.
std::wstring environment_block(const std::vector<std::string>& more) {
    std::vector<std::wstring> lines;
    wchar_t* const block = GetEnvironmentStringsW();
    for (const wchar_t* line = block; *line; line += std::wcslen(line) + 1) lines.emplace_back(line);
    FreeEnvironmentStringsW(block);
    for (const std::string& variable : more) {
        const std::wstring line = to_utf16(variable);
        const std::wstring name = line.substr(0, line.find(L'=') + 1);
        std::erase_if(lines, [&](const std::wstring& other) { return other.starts_with(name); });
        lines.push_back(line);
    }
    std::wstring text;
    for (const std::wstring& line : lines) text += line + L'\0';
    return text + L'\0';
}

HANDLE inheritable(const std::string& path, DWORD access, DWORD creation) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    return CreateFileW(to_utf16(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, creation,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

ProgramRun run_program(const std::string& program, const std::vector<std::string>& arguments,
                       const RunOptions& options) {
    if (options.terminal || options.file_size_limit != 0 || options.memory_limit != 0) return {};
    TemporaryFolder logs;
    const std::string out_path = options.output_file.empty() ? logs / "out" : options.output_file;
    const std::string err_path = logs / "err";
    const std::wstring path = std::filesystem::absolute(to_utf16(program)).wstring();
    std::wstring command = quoted(path);
    for (const std::string& argument : arguments) command += L" " + quoted(to_utf16(argument));
    std::wstring environment = environment_block(options.environment);
    const std::wstring folder = to_utf16(options.folder);

    STARTUPINFOW start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    HANDLE to_child = nullptr;
    if (options.input) {
        SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
        if (!CreatePipe(&start.hStdInput, &to_child, &inherit, 0)) return {};
        SetHandleInformation(to_child, HANDLE_FLAG_INHERIT, 0);
    } else {
        start.hStdInput = inheritable("NUL", GENERIC_READ, OPEN_EXISTING);
    }
    start.hStdOutput = inheritable(out_path, GENERIC_WRITE, CREATE_ALWAYS);
    start.hStdError = inheritable(err_path, GENERIC_WRITE, CREATE_ALWAYS);
    PROCESS_INFORMATION process{};
    // Wine on a busy machine now and then does not start a program at the first attempt.
    BOOL started = FALSE;
    DWORD error = 0;
    for (int attempt = 0; attempt < 3 && !started; attempt++) {
        if (attempt != 0) Sleep(500);
        started =
            CreateProcessW(path.c_str(), command.data(), nullptr, nullptr, TRUE, CREATE_UNICODE_ENVIRONMENT,
                           environment.data(), folder.empty() ? nullptr : folder.c_str(), &start, &process);
        error = started ? 0 : GetLastError();
    }
    for (HANDLE handle : {start.hStdInput, start.hStdOutput, start.hStdError}) CloseHandle(handle);
    ProgramRun run;
    if (options.input) {
        DWORD written = 0;
        if (started) {
            WriteFile(to_child, options.input->data(), static_cast<DWORD>(options.input->size()), &written,
                      nullptr);
        }
        CloseHandle(to_child);
    }
    if (!started) {
        run.err = "CreateProcess: error " + std::to_string(error);
        return run;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    run.exit_code = static_cast<int>(code);
    PROCESS_MEMORY_COUNTERS counters{};
    if (GetProcessMemoryInfo(process.hProcess, &counters, sizeof counters)) {
        run.peak_kib = static_cast<long>(counters.PeakWorkingSetSize / 1024);
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    run.out = read_file(out_path);
    run.err = read_file(err_path);
    return run;
}

}  // namespace kalvor_test
