// The records of a mini-dump file that the writer uses, as they lie in the file: little-endian, 4-byte
// packed. Positions in the file ("rva") are 32 bits.
#pragma once

#include "os/types.h"

namespace trel::os::minidump {

inline constexpr u32 kSignature = 0x504d444d;  // "MDMP"
inline constexpr u32 kVersion = 0xa793;

enum StreamType : u32 {
    kThreadList = 3,
    kModuleList = 4,
    kMemoryList = 5,
    kException = 6,
    kSystemInfo = 7,
    kMiscInfo = 15,
    kLinuxStatus = 0x47670004,
    kLinuxAuxv = 0x47670008,
    kLinuxMaps = 0x47670009,
};

#pragma pack(push, 4)

struct Location {
    u32 bytes = 0;
    u32 rva = 0;
};

struct Header {
    u32 signature = kSignature;
    u32 version = kVersion;
    u32 n_streams = 0;
    u32 directory_rva = 0;
    u32 checksum = 0;
    u32 unix_time = 0;
    u64 flags = 0;
};

struct Directory {
    u32 type = 0;
    Location location;
};

struct Memory {
    u64 address = 0;
    Location location;
};

struct MemoryList {
    u32 n = 2;
    Memory ranges[2];
};

struct Thread {
    u32 id = 0;
    u32 suspend_count = 0;
    u32 priority_class = 0;
    u32 priority = 0;
    u64 thread_block = 0;
    Memory stack;
    Location context;
};

struct ThreadList {
    u32 n = 1;
    Thread thread;
};

struct Module {
    u64 base = 0;
    u32 bytes = 0;
    u32 checksum = 0;
    u32 unix_time = 0;
    u32 name_rva = 0;
    u32 version_info[13] = {};
    Location code_view;  // here: the ELF build id
    Location misc;
    u64 reserved[2] = {};
};

inline constexpr u32 kElfBuildId = 0x4270454c;  // first word of such a code-view record; the id follows

struct Exception {
    u32 thread_id = 0;
    u32 alignment = 0;
    u32 code = 0;  // here: the signal
    u32 flags = 0;
    u64 record = 0;
    u64 address = 0;
    u32 n_parameters = 0;
    u32 unused = 0;
    u64 parameters[15] = {};
    Location context;
};

struct SystemInfo {
    u16 processor_architecture = 9;  // AMD64
    u16 processor_level = 0;
    u16 processor_revision = 0;
    u8 n_processors = 0;
    u8 product_type = 0;
    u32 major_version = 0;
    u32 minor_version = 0;
    u32 build_number = 0;
    u32 platform = 0x8201;  // Linux
    u32 version_text_rva = 0;
    u16 suite_mask = 0;
    u16 reserved = 0;
    u32 vendor[3] = {};
    u32 version_information = 0;
    u32 feature_information = 0;
    u32 amd_features = 0;
};

struct MiscInfo {
    u32 bytes = 24;
    u32 flags = 1;  // the process id is there
    u32 process_id = 0;
    u32 times[3] = {};
};

inline constexpr u32 kContextControl = 0x100001;
inline constexpr u32 kContextInteger = 0x100002;
inline constexpr u32 kContextAll = 0x10000f;  // control, integer, segments, floating point

struct Context {
    u64 parameter_homes[6] = {};
    u32 flags = 0;
    u32 mxcsr = 0;
    u16 cs = 0, ds = 0, es = 0, fs = 0, gs = 0, ss = 0;
    u32 eflags = 0;
    u64 debug_registers[6] = {};
    u64 rax = 0, rcx = 0, rdx = 0, rbx = 0, rsp = 0, rbp = 0, rsi = 0, rdi = 0;
    u64 r8 = 0, r9 = 0, r10 = 0, r11 = 0, r12 = 0, r13 = 0, r14 = 0, r15 = 0;
    u64 rip = 0;
    u8 fxsave[512] = {};
    u8 vector_registers[26 * 16] = {};
    u64 vector_control = 0;
    u64 debug_control = 0;
    u64 last_branch[4] = {};
};

#pragma pack(pop)

static_assert(sizeof(Header) == 32 && sizeof(Directory) == 12 && sizeof(Thread) == 48);
static_assert(sizeof(Module) == 108 && sizeof(Exception) == 168 && sizeof(SystemInfo) == 56);
static_assert(sizeof(MiscInfo) == 24 && sizeof(Context) == 1232);

}  // namespace trel::os::minidump
