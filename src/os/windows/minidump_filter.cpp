#include "os/windows/minidump_filter.h"

// After windows.h.
#include <dbghelp.h>

#include <cwchar>
#include <string>

#include "os/text_filter.h"

namespace trel::os {
namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

// In every form that a program comes by: the system's, and those of the C library and of the code that asks
// for UTF-8.
struct ProcessTexts {
    std::u16string units;
    std::string bytes;

    void add(const wchar_t* texts, size_t n) {
        units.append(texts, texts + n);
        units += u'\0';
        for (const UINT code_page : {UINT(CP_UTF8), UINT(CP_ACP), UINT(CP_OEMCP)}) {
            const int given = static_cast<int>(n);
            const int needed = WideCharToMultiByte(code_page, 0, texts, given, nullptr, 0, nullptr, nullptr);
            if (needed <= 0) continue;
            std::string form(static_cast<size_t>(needed), '\0');
            WideCharToMultiByte(code_page, 0, texts, given, form.data(), needed, nullptr, nullptr);
            bytes += form;
            bytes += '\0';
        }
    }
};

ProcessTexts* process_texts = nullptr;  // never destroyed: a crash may come while the process ends
TextFilter filter;

// A mini-dump in memory.
class Dump {
  public:
    Dump(u8* data, u64 n_bytes) : data_(data), n_bytes_(n_bytes) {}

    void clear() {
        if (const auto* threads = stream<MINIDUMP_THREAD_LIST>(ThreadListStream)) {
            for (ULONG32 i = 0; i < threads->NumberOfThreads; i++) {
                clear(threads->Threads[i].Stack.Memory);
                clear(threads->Threads[i].ThreadContext);
            }
        }
        if (const auto* memory = stream<MINIDUMP_MEMORY_LIST>(MemoryListStream)) {
            for (ULONG32 i = 0; i < memory->NumberOfMemoryRanges; i++) clear(memory->MemoryRanges[i].Memory);
        }
        if (const auto* exception = stream<MINIDUMP_EXCEPTION_STREAM>(ExceptionStream)) {
            clear(exception->ThreadContext);
        }
    }

  private:
    // Null: there is none.
    template <class Stream>
    const Stream* stream(ULONG type) {
        MINIDUMP_DIRECTORY* entry = nullptr;
        void* data = nullptr;
        ULONG n_bytes = 0;
        return MiniDumpReadDumpStream(data_, type, &entry, &data, &n_bytes) ? static_cast<const Stream*>(data)
                                                                            : nullptr;
    }
    void clear(const MINIDUMP_LOCATION_DESCRIPTOR& part) {
        if (part.Rva > n_bytes_ || part.DataSize > n_bytes_ - part.Rva) return;
        filter.clear_known(data_ + part.Rva, part.DataSize);
    }

    u8* data_;
    u64 n_bytes_;
};

}  // namespace

void remember_process_texts() {
    if (process_texts != nullptr) return;
    auto* const texts = new ProcessTexts;
    const wchar_t* const command_line = GetCommandLineW();
    texts->add(command_line, std::wcslen(command_line));
    if (wchar_t* const environment = GetEnvironmentStringsW()) {
        const wchar_t* end = environment;  // of the last variable: an empty one follows
        while (*end != L'\0') end += std::wcslen(end) + 1;
        texts->add(environment, static_cast<size_t>(end - environment));
        FreeEnvironmentStringsW(environment);
    }
    process_texts = texts;
}

u32 clear_minidump(HANDLE file) noexcept {
    // Without a crash handler nothing has crashed, and memory may be allocated.
    if (process_texts == nullptr) remember_process_texts();
    filter.forget();
    filter.learn(process_texts->units);
    filter.learn(process_texts->bytes);
    LARGE_INTEGER n_bytes;
    if (!GetFileSizeEx(file, &n_bytes)) return GetLastError();
    const HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 0, nullptr);
    if (mapping == nullptr) return GetLastError();
    void* const view = MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0);
    const DWORD error = view == nullptr ? GetLastError() : ERROR_SUCCESS;
    if (view != nullptr) {
        Dump(static_cast<u8*>(view), static_cast<u64>(n_bytes.QuadPart)).clear();
        UnmapViewOfFile(view);
    }
    CloseHandle(mapping);
    return error;
}

}  // namespace trel::os
