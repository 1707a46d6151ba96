#include "os/linux/minidump.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "os/cpu.h"
#include "os/linux/minidump_format.h"
#include "os/text_filter.h"

// Where the kernel put the argument count of the process: above it lie the arguments and the environment.
extern "C" void* __libc_stack_end;

namespace trel::os {
namespace {

using namespace minidump;

constexpr u64 kMostStackBytes = u64(1) << 20;
constexpr u64 kRedZone = 128;  // bytes below the stack pointer that belong to the function
constexpr u64 kCodeBytes = 256;
constexpr u32 kMostModules = 512;

// The text of /proc/self/maps; takes no memory until it is written to.
char maps_text[1 << 20];
u64 maps_bytes;
Module modules[kMostModules];
u8 stack_copy[kMostStackBytes];
TextFilter texts;

// Copies memory of this process that may not be there: as much of it as is.
u64 peek_some(u64 address, void* to, u64 n) {
    const iovec local{to, n}, remote{reinterpret_cast<void*>(address), n};
    const ssize_t got = process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
    return got > 0 ? static_cast<u64>(got) : 0;
}

bool peek(u64 address, void* to, u64 n) {
    return peek_some(address, to, n) == n;
}

// ---- the file

class Output {
  public:
    explicit Output(int file) : file_(file) {}

    // Takes n bytes of the file and returns where they begin.
    u32 reserve(u64 n) {
        const u64 at = end_;
        end_ = (end_ + n + 7) & ~u64(7);
        return static_cast<u32>(at);
    }
    void write_at(u64 at, const void* data, u64 n) {
        const char* from = static_cast<const char*>(data);
        while (n > 0 && error_ == 0) {
            const ssize_t written = pwrite(file_, from, n, static_cast<off_t>(at));
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) {
                error_ = written < 0 ? static_cast<u32>(errno) : static_cast<u32>(ENOSPC);
                return;
            }
            from += written;
            at += static_cast<u64>(written);
            n -= static_cast<u64>(written);
        }
    }
    Location append(const void* data, u64 n) {
        const u32 at = reserve(n);
        write_at(at, data, n);
        return {static_cast<u32>(n), at};
    }
    // UTF-8 to the format's own string: bytes, UTF-16, a zero.
    u32 append_text(const char* text, u64 n) {
        static u16 units[4096];
        u64 length = 0;
        for (u64 i = 0; i < n && length + 3 < std::size(units);) {
            const u32 point = decode(text, n, i);
            if (point >= 0x10000) {
                units[length++] = static_cast<u16>(0xd7c0 + (point >> 10));
                units[length++] = static_cast<u16>(0xdc00 | (point & 0x3ff));
            } else {
                units[length++] = static_cast<u16>(point);
            }
        }
        units[length] = 0;
        const u32 bytes = static_cast<u32>(2 * length);
        const u32 at = reserve(4 + bytes + 2);
        write_at(at, &bytes, 4);
        write_at(at + 4, units, bytes + 2);
        return at;
    }
    // A file of the system about this process.
    Location append_file(const char* path) {
        const int in = open(path, O_RDONLY | O_CLOEXEC);
        if (in < 0) return {};
        static char chunk[4096];
        const u64 at = end_;
        u64 n = 0;
        for (ssize_t got; (got = read(in, chunk, sizeof chunk)) > 0;) {
            write_at(at + n, chunk, static_cast<u64>(got));
            n += static_cast<u64>(got);
        }
        close(in);
        reserve(n);
        return {static_cast<u32>(n), static_cast<u32>(at)};
    }
    u32 error() const { return error_; }

  private:
    static u32 decode(const char* text, u64 n, u64& i) {
        const u8 first = static_cast<u8>(text[i++]);
        if (first < 0x80) return first;
        const int more = first >= 0xf0 ? 3 : first >= 0xe0 ? 2 : first >= 0xc0 ? 1 : 0;
        u32 point = first & (0x3fu >> more);
        for (int k = 0; k < more; k++) {
            if (i == n || (static_cast<u8>(text[i]) & 0xc0) != 0x80) return 0xfffd;
            point = point << 6 | (static_cast<u8>(text[i++]) & 0x3f);
        }
        return more == 0 || point > 0x10ffff ? 0xfffd : point;
    }

    int file_;
    u64 end_ = 0;
    u32 error_ = 0;
};

// ---- what is mapped where

struct Mapping {
    u64 begin = 0, end = 0, offset = 0;
    bool readable = false, executable = false;
    const char* name = nullptr;  // not terminated
    u64 name_bytes = 0;

    bool same_file(const Mapping& other) const {
        return name_bytes == other.name_bytes && std::memcmp(name, other.name, name_bytes) == 0;
    }
    bool is_module() const {
        constexpr char kVdso[] = "[vdso]";
        return name_bytes > 0 && (name[0] == '/' || (name_bytes == 6 && std::memcmp(name, kVdso, 6) == 0));
    }
};

void load_maps() {
    maps_bytes = 0;
    const int in = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    if (in < 0) return;
    for (ssize_t got;
         (got = read(in, maps_text + maps_bytes, std::min<u64>(65536, sizeof maps_text - maps_bytes))) > 0;) {
        maps_bytes += static_cast<u64>(got);
    }
    close(in);
}

// The mappings in ascending order. A line is "begin-end rwxp offset device inode   name", numbers in
// hexadecimal.
class MapsCursor {
  public:
    bool next(Mapping& mapping) {
        if (at_ >= maps_bytes) return false;
        const char* line = maps_text + at_;
        const void* feed = std::memchr(line, '\n', maps_bytes - at_);
        if (feed == nullptr) return false;  // cut off
        const char* end = static_cast<const char*>(feed);
        at_ = static_cast<u64>(end - maps_text) + 1;
        mapping.begin = hexadecimal(line);
        mapping.end = hexadecimal(++line);
        mapping.readable = line[1] == 'r';
        mapping.executable = line[3] == 'x';
        line += 6;
        mapping.offset = hexadecimal(line);
        for (int field = 0; field < 2; field++) {
            while (line < end && *line == ' ') line++;
            while (line < end && *line != ' ') line++;
        }
        while (line < end && *line == ' ') line++;
        mapping.name = line;
        mapping.name_bytes = static_cast<u64>(end - line);
        return true;
    }

  private:
    static u64 hexadecimal(const char*& p) {
        u64 value = 0;
        for (;; p++) {
            if (*p >= '0' && *p <= '9') {
                value = value * 16 + static_cast<u64>(*p - '0');
            } else if (*p >= 'a' && *p <= 'f') {
                value = value * 16 + static_cast<u64>(*p - 'a' + 10);
            } else {
                return value;
            }
        }
    }

    u64 at_ = 0;
};

// ---- modules

// The build id by which a debugger knows the module's file again: an ELF note in the first pages.
Location append_build_id(Output& out, u64 base) {
    Elf64_Ehdr elf;
    if (!peek(base, &elf, sizeof elf) || std::memcmp(elf.e_ident, ELFMAG, SELFMAG) != 0) return {};
    u64 first_load = ~u64(0);
    Elf64_Phdr segment;
    for (int pass = 0; pass < 2; pass++) {
        for (u32 i = 0; i < elf.e_phnum; i++) {
            if (!peek(base + elf.e_phoff + i * sizeof segment, &segment, sizeof segment)) return {};
            if (pass == 0) {
                if (segment.p_type == PT_LOAD) first_load = std::min<u64>(first_load, segment.p_vaddr);
                continue;
            }
            if (segment.p_type != PT_NOTE) continue;
            static u8 notes[4096];
            const u64 n = std::min<u64>(segment.p_filesz, sizeof notes);
            if (!peek(base + segment.p_vaddr - first_load, notes, n)) continue;
            for (u64 at = 0; at + sizeof(Elf64_Nhdr) <= n;) {
                Elf64_Nhdr note;
                std::memcpy(&note, notes + at, sizeof note);
                const u64 name = at + sizeof note;
                const u64 value = name + ((u64(note.n_namesz) + 3) & ~u64(3));
                const u64 end = value + note.n_descsz;
                if (end > n) break;
                if (note.n_type == NT_GNU_BUILD_ID && note.n_namesz == 4 &&
                    std::memcmp(notes + name, "GNU", 4) == 0) {
                    const u32 at_file = out.reserve(4 + note.n_descsz);
                    const u32 kind = kElfBuildId;
                    out.write_at(at_file, &kind, 4);
                    out.write_at(at_file + 4, notes + value, note.n_descsz);
                    return {4 + note.n_descsz, at_file};
                }
                at = (end + 3) & ~u64(3);
            }
        }
    }
    return {};
}

Location append_modules(Output& out) {
    u32 n = 0;
    MapsCursor cursor;
    Mapping mapping;
    Mapping file;  // its mappings, one behind the other, taken together
    const auto finish = [&] {
        if (!file.executable || n == kMostModules) return;
        Module& module = modules[n++];
        module = {};
        module.base = file.begin;
        module.bytes = static_cast<u32>(std::min<u64>(file.end - file.begin, ~u32(0)));
        constexpr char kVdsoName[] = "linux-gate.so";  // as debuggers expect it
        module.name_rva = file.name[0] == '[' ? out.append_text(kVdsoName, sizeof kVdsoName - 1)
                                              : out.append_text(file.name, file.name_bytes);
        module.code_view = append_build_id(out, file.begin);
    };
    while (cursor.next(mapping)) {
        if (!mapping.is_module()) continue;
        if (file.name != nullptr && mapping.same_file(file) && mapping.offset != 0) {
            file.end = mapping.end;
            file.executable = file.executable || mapping.executable;
            continue;
        }
        if (file.name != nullptr) finish();
        file = mapping;
    }
    if (file.name != nullptr) finish();

    const u32 at = out.reserve(4 + u64(n) * sizeof(Module));
    out.write_at(at, &n, 4);
    out.write_at(at + 4, modules, u64(n) * sizeof(Module));
    return {static_cast<u32>(4 + n * sizeof(Module)), at};
}

// ---- the thread

// The command line and the environment: from the first argument to the end of the main thread's stack.
void learn_texts() {
    texts.forget();
    const u64 count = reinterpret_cast<u64>(__libc_stack_end);
    u64 first_argument = 0;
    if (!peek(count + 8, &first_argument, 8)) return;
    MapsCursor cursor;
    Mapping mapping;
    while (cursor.next(mapping)) {
        if (count < mapping.begin || count >= mapping.end) continue;
        const u64 begin = first_argument > count && first_argument < mapping.end ? first_argument : count;
        // Piece by piece; each begins with the end of the one before, so that no run of 8 bytes is missed.
        constexpr u64 kOverlap = 7;
        for (u64 at = begin; at < mapping.end; at += kMostStackBytes - kOverlap) {
            const u64 n = peek_some(at, stack_copy, std::min(mapping.end - at, kMostStackBytes));
            texts.learn({reinterpret_cast<const char*>(stack_copy), n});
            if (n < kMostStackBytes) return;
        }
        return;
    }
}

// From the stack pointer up. A thread that ran out of stack points below it; what lies above is what it used.
Memory append_stack(Output& out, u64 stack_pointer) {
    MapsCursor cursor;
    Mapping mapping;
    while (cursor.next(mapping)) {
        if (mapping.end <= stack_pointer || !mapping.readable) continue;
        if (mapping.begin > stack_pointer && mapping.begin - stack_pointer > kMostStackBytes) break;
        const u64 begin = std::max(mapping.begin, stack_pointer - kRedZone);
        u64 end = std::min(mapping.end, begin + kMostStackBytes);
        const u64 arguments = reinterpret_cast<u64>(__libc_stack_end);
        if (arguments >= mapping.begin && arguments < mapping.end) end = std::min(end, arguments);
        if (begin >= end) break;
        const u64 n = peek_some(begin, stack_copy, end - begin);
        texts.clear_known(stack_copy, n);
        return {begin, out.append(stack_copy, n)};
    }
    return {};
}

Memory append_code(Output& out, u64 instruction_pointer) {
    static u8 code[kCodeBytes];
    const u64 begin = instruction_pointer - std::min(instruction_pointer, kCodeBytes / 2);
    return {begin, out.append(code, peek_some(begin, code, kCodeBytes))};
}

void fill_context(Context& to, const ucontext_t& from, bool complete) {
    const auto reg = [&](int i) { return static_cast<u64>(from.uc_mcontext.gregs[i]); };
    to.flags = complete ? kContextAll : kContextControl | kContextInteger;
    to.cs = static_cast<u16>(reg(REG_CSGSFS));
    to.gs = static_cast<u16>(reg(REG_CSGSFS) >> 16);
    to.fs = static_cast<u16>(reg(REG_CSGSFS) >> 32);
    to.ss = static_cast<u16>(reg(REG_CSGSFS) >> 48);
    to.eflags = static_cast<u32>(reg(REG_EFL));
    to.rax = reg(REG_RAX);
    to.rcx = reg(REG_RCX);
    to.rdx = reg(REG_RDX);
    to.rbx = reg(REG_RBX);
    to.rsp = reg(REG_RSP);
    to.rbp = reg(REG_RBP);
    to.rsi = reg(REG_RSI);
    to.rdi = reg(REG_RDI);
    to.r8 = reg(REG_R8);
    to.r9 = reg(REG_R9);
    to.r10 = reg(REG_R10);
    to.r11 = reg(REG_R11);
    to.r12 = reg(REG_R12);
    to.r13 = reg(REG_R13);
    to.r14 = reg(REG_R14);
    to.r15 = reg(REG_R15);
    to.rip = reg(REG_RIP);
    if (complete && from.uc_mcontext.fpregs != nullptr) {
        static_assert(sizeof *from.uc_mcontext.fpregs == sizeof to.fxsave);
        std::memcpy(to.fxsave, from.uc_mcontext.fpregs, sizeof to.fxsave);
        to.mxcsr = from.uc_mcontext.fpregs->mxcsr;
    }
}

u64 exception_address(const CrashRecord& record, u64 instruction_pointer) {
    // abort() and signals from outside carry no address.
    if (record.signal == SIGABRT || record.info->si_code <= 0) return instruction_pointer;
    return reinterpret_cast<u64>(record.info->si_addr);
}

// ---- the machine

Location append_system(Output& out) {
    static SystemInfo info;
    info = {};
    const CpuidRegisters vendor = cpuid(0), version = cpuid(1);
    info.vendor[0] = vendor.ebx;
    info.vendor[1] = vendor.edx;
    info.vendor[2] = vendor.ecx;
    info.version_information = version.eax;
    info.feature_information = version.edx;
    info.amd_features = cpuid(0x80000001).edx;
    u32 family = version.eax >> 8 & 15, model = version.eax >> 4 & 15;
    if (family == 15) family += version.eax >> 20 & 255;
    if (family >= 6) model |= version.eax >> 12 & 0xf0;
    info.processor_level = static_cast<u16>(family);
    info.processor_revision = static_cast<u16>(model << 8 | (version.eax & 15));
    info.n_processors = static_cast<u8>(std::min<u32>(active_processor_count(), 255));
    utsname system{};
    if (uname(&system) == 0) {
        const char* p = system.release;
        for (u32* number : {&info.major_version, &info.minor_version, &info.build_number}) {
            while (*p >= '0' && *p <= '9') *number = *number * 10 + static_cast<u32>(*p++ - '0');
            if (*p != '.' && *p != '-') break;
            p++;
        }
        static char text[3 * sizeof system.release];
        u64 n = 0;
        const char* const parts[] = {system.sysname, " ", system.release, " ", system.machine};
        for (const char* part : parts) {
            const u64 length = std::strlen(part);
            if (n + length > sizeof text) break;
            std::memcpy(text + n, part, length);
            n += length;
        }
        info.version_text_rva = out.append_text(text, n);
    }
    return out.append(&info, sizeof info);
}

Location append_misc(Output& out) {
    MiscInfo info;
    info.process_id = static_cast<u32>(getpid());
    return out.append(&info, sizeof info);
}

}  // namespace

u32 write_minidump_file(int file, const CrashRecord* record, const ucontext_t& context) noexcept {
    constexpr u32 kMostStreams = 9;
    Output out(file);
    Directory directory[kMostStreams];
    Header header;
    header.unix_time = static_cast<u32>(time(nullptr));
    out.reserve(sizeof header);
    header.directory_rva = out.reserve(sizeof directory);
    const auto add = [&](u32 type, Location location) { directory[header.n_streams++] = {type, location}; };

    load_maps();
    learn_texts();
    static Context registers;
    registers = {};
    fill_context(registers, context, record != nullptr);
    MemoryList memory;
    texts.clear_known(&registers, sizeof registers);
    ThreadList threads;
    threads.thread.id = static_cast<u32>(syscall(SYS_gettid));
    threads.thread.context = out.append(&registers, sizeof registers);
    memory.ranges[0] = threads.thread.stack = append_stack(out, registers.rsp);
    memory.ranges[1] = append_code(out, registers.rip);
    add(kThreadList, out.append(&threads, sizeof threads));
    if (record != nullptr) {
        static Exception exception;
        exception = {};
        exception.thread_id = threads.thread.id;
        exception.code = static_cast<u32>(record->signal);
        exception.flags = static_cast<u32>(record->info->si_code);
        exception.address = exception_address(*record, registers.rip);
        exception.context = threads.thread.context;
        add(kException, out.append(&exception, sizeof exception));
    }
    add(kModuleList, append_modules(out));
    add(kMemoryList, out.append(&memory, sizeof memory));
    add(kSystemInfo, append_system(out));
    add(kMiscInfo, append_misc(out));
    add(kLinuxMaps, out.append(maps_text, maps_bytes));
    add(kLinuxStatus, out.append_file("/proc/self/status"));
    add(kLinuxAuxv, out.append_file("/proc/self/auxv"));

    out.write_at(0, &header, sizeof header);
    out.write_at(header.directory_rva, directory, sizeof directory);
    return out.error();
}

}  // namespace trel::os
