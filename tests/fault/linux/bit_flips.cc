// Runs the program many times and damages its memory from outside, once in each run: at a random moment, at a
// random place of the kind of memory asked for. Then looks at what came of it. A program of its own, not a
// test: `bit_flips --help` lists its options.
//
// A campaign goes round its settings: every constant, size, algorithm, instruction set, number of tasks and
// place in turn.
// Every run has a generator of its own, made from the seed and the run's number. So --first N --runs 1 takes
// the same choices as run N of a long campaign. The moment is a share of the processor time of an undisturbed
// run, from the beginning of its computation (or --from) to its end; where exactly the program stands then is
// not the same twice.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fault/linux/reference_digits.h"

namespace {

namespace fs = std::filesystem;
using u8 = std::uint8_t;
using u64 = std::uint64_t;
using Clock = std::chrono::steady_clock;

struct Options {
    std::string program = KALVOR_PROGRAM_PATH;
    u64 runs = 100, first = 0, seed = 1, jobs = 1;
    std::vector<std::string> constants = {"pi"};
    std::vector<u64> digits = {1'000'000};
    std::vector<std::string> tasks;                 // empty: what the program chooses
    std::vector<std::string> algorithms;            // likewise
    std::vector<std::string> isas;                  // KALVOR_ISA of the program; "own": its own choice
    std::vector<std::string> places = {"working"};  // working, second, heap, stack, tables, code, any
    std::string fault = "bit";                      // bit, bits, zero, ones, exchange, stuck, mixed
    std::string from = "Begin Computation";
    std::vector<std::string> more;  // further arguments of the program
    bool verbose = false, summary = false;
};

// One of the settings that a campaign goes round.
struct Setting {
    std::string constant;
    u64 digits = 0;
    std::string tasks, algorithm, isa, place;
    std::vector<std::string> arguments() const {
        std::vector<std::string> all = {"-dec:" + std::to_string(digits)};
        if (!tasks.empty()) all.push_back("-TD:" + tasks);
        if (!algorithm.empty()) all.push_back("-algorithm:" + algorithm);
        return all;
    }
    // The same digits.
    std::string value() const { return constant + " " + std::to_string(digits); }
    // The same processor time, nearly.
    std::string work() const { return value() + " " + algorithm + " " + isa; }
};

[[noreturn]] void usage(int code) {
    std::puts(
        "bit_flips [options] [-- further options of `kalvor custom`]\n"
        "  --runs N      how many runs (100)\n"
        "  --first N     number of the first run (0)\n"
        "  --seed N      (1)\n"
        "  --constant L  as `kalvor custom` names them: pi, log:2, e, gamma, ... (pi)\n"
        "  --digits L    decimal digits of each run (1000000)\n"
        "  --tasks L     tasks that the work is split into\n"
        "  --algorithm L names of algorithms of the first constant; all: every one of pi\n"
        "  --isa L       avx2, avx512, or own for the program's own choice\n"
        "  --jobs N      runs at the same time (1)\n"
        "  --place L     working, second (the next region of it: twiddle factors), heap, stack, tables, "
        "code,\n"
        "                any (working)\n"
        "  --from TEXT   no earlier than the program has printed this (Begin Computation)\n"
        "  --fault F     bit, bits (six of one word), zero, ones, exchange (64 bytes with the next 64), "
        "stuck,\n"
        "                mixed (bit)\n"
        "  --program P   the program to run\n"
        "  --verbose     a line for each run that was not harmless\n"
        "  --summary     one line for all runs instead of the table\n"
        "L: one or several, with commas between them; the runs take them in turn.\n"
        "Exit code: 0 when no run delivered wrong digits or gave them their final name, went past all "
        "checks of\n"
        "residues to be ended by the second computation of its last digits alone, hung, or ended without a "
        "report;\n"
        "else 1. Such runs are always printed.");
    std::exit(code);
}

std::vector<std::string> list(const std::string& text) {
    std::vector<std::string> all;
    std::istringstream in(text);
    for (std::string one; std::getline(in, one, ',');) all.push_back(one);
    if (all.empty()) usage(2);
    return all;
}

Options parse(int n, char** arguments) {
    Options o;
    for (int i = 1; i < n; i++) {
        const std::string a = arguments[i];
        const auto value = [&]() -> std::string {
            if (++i >= n) usage(2);
            return arguments[i];
        };
        if (a == "--runs") {
            o.runs = std::stoull(value());
        } else if (a == "--first") {
            o.first = std::stoull(value());
        } else if (a == "--seed") {
            o.seed = std::stoull(value());
        } else if (a == "--constant") {
            o.constants = list(value());
        } else if (a == "--digits") {
            o.digits.clear();
            for (const std::string& one : list(value())) o.digits.push_back(std::stoull(one));
        } else if (a == "--tasks") {
            o.tasks = list(value());
        } else if (a == "--algorithm") {
            o.algorithms = list(value());
            if (o.algorithms[0] == "all") {
                o.algorithms = {"chudnovsky", "ramanujan", "chudnovsky-reduced", "ramanujan-reduced"};
            }
        } else if (a == "--jobs") {
            o.jobs = std::max<u64>(1, std::stoull(value()));
        } else if (a == "--summary") {
            o.summary = true;
        } else if (a == "--place") {
            o.places = list(value());
        } else if (a == "--from") {
            o.from = value();
        } else if (a == "--fault") {
            o.fault = value();
        } else if (a == "--isa") {
            o.isas = list(value());
        } else if (a == "--program") {
            o.program = value();
        } else if (a == "--verbose") {
            o.verbose = true;
        } else if (a == "--") {
            while (++i < n) o.more.push_back(arguments[i]);
        } else {
            usage(a == "--help" ? 0 : 2);
        }
    }
    return o;
}

std::vector<Setting> settings_of(const Options& o) {
    const auto or_own = [](std::vector<std::string> all) {
        if (all.empty()) all.emplace_back();
        return all;
    };
    std::vector<Setting> all;
    const auto add = [&](const std::string& constant, u64 digits, const std::string& algorithm) {
        for (const std::string& isa : or_own(o.isas)) {
            for (const std::string& tasks : or_own(o.tasks)) {
                for (const std::string& place : o.places) {
                    all.push_back({constant, digits, tasks, algorithm, isa == "own" ? "" : isa, place});
                }
            }
        }
    };
    for (const u64 digits : o.digits) {
        for (const std::string& algorithm : or_own(o.algorithms)) add(o.constants[0], digits, algorithm);
        for (std::size_t i = 1; i < o.constants.size(); i++) add(o.constants[i], digits, "");
    }
    return all;
}

std::string read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

// ---- the program's memory

struct Mapping {
    u64 begin = 0, end = 0;
    bool write = false, execute = false, readable = false;
    u64 resident = 0;  // KiB
    std::string name;
    u64 size() const { return end - begin; }
};

std::vector<Mapping> mappings(pid_t pid) {
    std::vector<Mapping> all;
    std::ifstream in("/proc/" + std::to_string(pid) + "/smaps");
    for (std::string line; std::getline(in, line);) {
        unsigned long begin, end;
        char rights[8];
        int at = 0;
        if (!all.empty() && std::sscanf(line.c_str(), "Rss: %lu", &begin) == 1) all.back().resident = begin;
        if (std::sscanf(line.c_str(), "%lx-%lx %7s %*s %*s %*s %n", &begin, &end, rights, &at) < 3) continue;
        const std::string name = at > 0 && static_cast<size_t>(at) < line.size() ? line.substr(at) : "";
        all.push_back({begin, end, rights[1] == 'w', rights[2] == 'x', false, 0, name});
        all.back().readable =
            rights[0] == 'r' && name != "[vvar]" && name != "[vdso]" && name != "[vsyscall]";
    }
    return all;
}

// The mappings of one kind. The working memory is the anonymous one with the most pages in use (stacks of
// threads are long but empty), the second region the next one; tables are the writable and the constant data
// of the program's file.
std::vector<Mapping> of_kind(const std::vector<Mapping>& all, const std::string& kind, const Options& o) {
    const std::string program = fs::canonical(o.program).string();
    std::vector<Mapping> chosen;
    for (const Mapping& m : all) {
        const bool own = m.name == program;
        const bool fits = kind == "any"      ? true
                          : kind == "heap"   ? m.name == "[heap]"
                          : kind == "stack"  ? m.name == "[stack]"
                          : kind == "tables" ? own && !m.execute
                          : kind == "code"   ? own && m.execute
                                             : m.write && m.name.empty();
        if (fits && m.readable) chosen.push_back(m);
    }
    if (kind != "working" && kind != "second") return chosen;
    std::sort(chosen.begin(), chosen.end(),
              [](const Mapping& a, const Mapping& b) { return a.resident > b.resident; });
    const std::size_t which = kind == "second" ? 1 : 0;
    if (which >= chosen.size()) return {};
    return {chosen[which]};
}

bool read_memory(pid_t pid, u64 address, void* to, u64 n) {
    const iovec local{to, n}, remote{reinterpret_cast<void*>(address), n};
    return process_vm_readv(pid, &local, 1, &remote, 1, 0) == static_cast<ssize_t>(n);
}

// What is not writable for the program itself is written through its mem file.
bool write_memory(pid_t pid, u64 address, const void* from, u64 n) {
    const iovec local{const_cast<void*>(from), n}, remote{reinterpret_cast<void*>(address), n};
    if (process_vm_writev(pid, &local, 1, &remote, 1, 0) == static_cast<ssize_t>(n)) return true;
    const int file = open(("/proc/" + std::to_string(pid) + "/mem").c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0) return false;
    const bool written = pwrite(file, from, n, static_cast<off_t>(address)) == static_cast<ssize_t>(n);
    close(file);
    return written;
}

// ---- one run

double cpu_seconds_of(pid_t pid) {
    clockid_t clock;
    timespec t{};
    if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &t) != 0) return -1;
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

class Child {
  public:
    Child(const Options& o, const Setting& setting, const fs::path& folder) {
        std::vector<std::string> words = {o.program, "custom", setting.constant, "-o",
                                          (folder / "out").string()};
        const std::vector<std::string> own = setting.arguments();
        words.insert(words.end(), own.begin(), own.end());
        words.insert(words.end(), o.more.begin(), o.more.end());
        // Everything that needs memory comes before the fork: other threads may hold the heap's lock.
        std::vector<std::string> variables;
        for (char** v = environ; *v != nullptr; v++) {
            if (setting.isa.empty() || std::strncmp(*v, "KALVOR_ISA=", 11) != 0) variables.emplace_back(*v);
        }
        if (!setting.isa.empty()) variables.push_back("KALVOR_ISA=" + setting.isa);
        std::vector<char*> environment;
        for (std::string& v : variables) environment.push_back(v.data());
        environment.push_back(nullptr);
        std::vector<char*> argv;
        for (std::string& w : words) argv.push_back(w.data());
        argv.push_back(nullptr);
        const std::string console = (folder / "console.txt").string();
        pid_ = fork();
        if (pid_ != 0) return;
        const int out = open(console.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        const int in = open("/dev/null", O_RDONLY | O_CLOEXEC);
        dup2(in, 0);
        dup2(out, 1);
        dup2(out, 2);
        const rlimit no_core{0, 0};
        setrlimit(RLIMIT_CORE, &no_core);
        if (chdir(folder.c_str()) != 0) _exit(126);
        execve(argv[0], argv.data(), environment.data());
        _exit(127);
    }
    ~Child() {
        if (ended_) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, &status_, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return pid_; }
    // Whether the process has ended; the processor time that it took is known then.
    bool ended() {
        if (ended_) return true;
        rusage usage{};
        if (wait4(pid_, &status_, WNOHANG, &usage) != pid_) return false;
        take(usage);
        return true;
    }
    // The process stands still from here to resume(); false when it has ended instead.
    bool stop() {
        kill(pid_, SIGSTOP);
        rusage usage{};
        while (wait4(pid_, &status_, WUNTRACED, &usage) < 0 && errno == EINTR) continue;
        if (WIFSTOPPED(status_)) return true;
        take(usage);
        return false;
    }
    void resume() { kill(pid_, SIGCONT); }

    int status() const { return status_; }
    double cpu_seconds() const { return cpu_seconds_; }

  private:
    void take(const rusage& usage) {
        ended_ = true;
        const auto seconds = [](const timeval& t) {
            return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
        };
        cpu_seconds_ = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    }
    pid_t pid_ = -1;
    int status_ = 0;
    bool ended_ = false;
    double cpu_seconds_ = 0;
};

void pause_briefly() {
    const timespec t{0, 100'000};
    nanosleep(&t, nullptr);
}

// late: only the second computation of the last digits said that the value was wrong. Before it the value was
// held against its residue, so the damage had gone past every check that also longer runs and other constants
// have.
enum class Outcome { harmless, corrected, caught, wrong, late, hang, silent_end, not_placed };
constexpr const char* kNames[] = {"harmless", "corrected",          "caught",    "WRONG", "PAST RESIDUES",
                                  "hang",     "end without report", "not placed"};
constexpr int kOutcomes = 8;
constexpr bool is_bad(Outcome o) {
    return o == Outcome::wrong || o == Outcome::late || o == Outcome::hang || o == Outcome::silent_end;
}

struct Fault {
    std::string kind;
    u64 address = 0, bit = 0;
    bool placed = false;
};

// Changes the stopped program's memory. Numbers are words of 64 bits, so places are multiples of eight.
Fault damage(pid_t pid, const Options& o, const std::string& kind, std::mt19937_64& random) {
    static const char* const kMixed[] = {"bit", "bits", "zero", "ones", "exchange", "stuck"};
    Fault f;
    f.kind = o.fault == "mixed" ? kMixed[random() % 6] : o.fault;
    const u64 where = random(), bits[6] = {random(), random(), random(), random(), random(), random()};
    f.bit = bits[0] % 64;
    const std::vector<Mapping> places = of_kind(mappings(pid), kind, o);
    u64 size = 0;
    for (const Mapping& m : places) size += m.size();
    if (size == 0) return f;
    u64 offset = where % size;
    for (const Mapping& m : places) {
        if (offset >= m.size()) {
            offset -= m.size();
            continue;
        }
        const u64 bytes = f.kind == "exchange" ? 128 : 8;
        f.address = m.begin + offset / bytes * bytes;
        break;
    }
    u8 memory[128];
    const u64 n = f.kind == "exchange" ? 128 : 8;
    if (!read_memory(pid, f.address, memory, n)) return f;
    u64 word;
    std::memcpy(&word, memory, 8);
    if (f.kind == "bit") {
        word ^= u64(1) << f.bit;
    } else if (f.kind == "bits") {
        for (u64 b : bits) word ^= u64(1) << b % 64;
    } else if (f.kind == "zero") {
        word = 0;
    } else if (f.kind == "ones") {
        word = ~u64(0);
    } else if (f.kind == "stuck") {
        word |= u64(1) << f.bit;
    }
    std::memcpy(memory, &word, 8);
    if (f.kind == "exchange") std::swap_ranges(memory, memory + 64, memory + 64);
    f.placed = write_memory(pid, f.address, memory, n);
    return f;
}

void set_again(pid_t pid, const Fault& f) {
    u64 word;
    if (!read_memory(pid, f.address, &word, 8)) return;
    if (word >> f.bit & 1) return;
    word |= u64(1) << f.bit;
    write_memory(pid, f.address, &word, 8);
}

struct Result {
    Outcome outcome = Outcome::harmless;
    Fault fault;
    double moment = 0;
    std::string during;  // the console's last words at the moment
    std::string report;
    std::string found_in;  // of what was corrected or caught: products, ranges of the series, ...
};

// The line of the console that says what went wrong; empty when there is none.
std::string report_in(const std::string& console) {
    for (const char* mark : {"Exception Encountered", "has crashed", "Error", "Failed", "failed", "Mismatch",
                             "corrupt", "damaged"}) {
        const size_t at = console.find(mark);
        if (at == std::string::npos) continue;
        std::string text = console.substr(at, 160);
        for (char& c : text) {
            if (c == '\n' || c == '\r') c = ' ';
        }
        return text;
    }
    return "";
}

// What met the error. A run that was corrected names the operation, one that was caught says what is wrong.
std::string found_in(const std::string& console) {
    const size_t corrected = console.find("Computation error detected and corrected.");
    const std::string text = console.substr(corrected == std::string::npos ? 0 : corrected);
    const auto says = [&text](const char* words) { return text.find(words) != std::string::npos; };
    if (corrected != std::string::npos) {
        return says("Operation: series")       ? "ranges of the series"
               : says("Operation: conversion") ? "the conversion"
               : says("Operation: digits")     ? "digits"
               : says("Operation: last")       ? "the last digits"
                                               : "products";
    }
    if (says("The product does not fit its operands") || says("An operand was damaged in memory") ||
        says("Coefficient is too large") || says("Coefficient is not an integer") ||
        says("does not fit its residue")) {
        return "products";
    }
    return says("A number was damaged in memory") ? "numbers at rest"
           : says("Modular Redundancy Check Failed") || says("of the terms were damaged") ||
                   says("of the series were lost")
               ? "ranges of the series"
           : says("has crashed")                               ? "crashes"
           : says("Base Conversion Failed") || says("Overlap") ? "the conversion"
           : says("Digits changed in memory")                  ? "digits"
                                                               : "other checks";
}

struct DigitFile {
    std::string digits;
    bool named = false;  // its final name
};

DigitFile digit_file(const fs::path& folder) {
    std::error_code error;
    DigitFile found;
    for (const auto& entry : fs::directory_iterator(folder / "out", error)) {
        const std::string name = entry.path().filename().string();
        if (name.find(" - Dec - ") == std::string::npos) continue;
        const bool named = name.find("(incomplete)") == std::string::npos;
        if (named || !found.named) found = {read_file(entry.path()), named};
    }
    return found;
}

// Processor time.
struct Span {
    double begin = 0, end = 0;  // of the campaign's time; of the run
};

// Whether the time of the campaign has begun.
bool has_begun(const Options& o, const fs::path& folder) {
    return read_file(folder / "console.txt").find(o.from) != std::string::npos;
}

// What the run was doing.
std::string last_words(const fs::path& folder) {
    std::string console = read_file(folder / "console.txt");
    console.erase(console.find_last_not_of(" \r\n") + 1);
    std::string words = console.substr(console.find_last_of("\r\n") + 1);
    return words.substr(0, 40);
}

Result one_run(const Options& o, const Setting& setting, u64 number, const Span& usual,
               const std::string& right, const fs::path& folder) {
    std::seed_seq seed{o.seed, number};
    std::mt19937_64 random(seed);
    Result r;
    r.moment = std::generate_canonical<double, 53>(random);
    fs::remove_all(folder);
    fs::create_directories(folder);
    Child child(o, setting, folder);
    const auto start = Clock::now();
    const double longest = 60 + 40 * usual.end;
    const double at = usual.begin + r.moment * (usual.end - usual.begin);
    bool done = false;
    while (!child.ended()) {
        if (!done && cpu_seconds_of(child.pid()) >= at && has_begun(o, folder)) {
            done = true;
            if (!child.stop()) break;
            r.during = last_words(folder);
            r.fault = damage(child.pid(), o, setting.place, random);
            child.resume();
        }
        if (done && r.fault.placed && r.fault.kind == "stuck") {
            set_again(child.pid(), r.fault);
        }
        if (std::chrono::duration<double>(Clock::now() - start).count() > longest) {
            r.outcome = Outcome::hang;
            return r;
        }
        for (int i = 0; i < (done ? 10 : 1); i++) pause_briefly();
    }
    const std::string console = read_file(folder / "console.txt");
    const int status = child.status();
    const DigitFile file = digit_file(folder);
    r.report = report_in(console);
    const bool success = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (success || file.named) {
        if (file.digits != right || !file.named) {
            r.outcome = Outcome::wrong;
            return r;
        }
    }
    if (success) {
        if (console.find("Computation error detected and corrected.") != std::string::npos) {
            r.outcome = Outcome::corrected;
            r.found_in = found_in(console);
        } else {
            r.outcome = r.fault.placed ? Outcome::harmless : Outcome::not_placed;
        }
        return r;
    }
    r.outcome = r.report.empty() ? Outcome::silent_end : Outcome::caught;
    // What there is instead: the signal or the code, and the last words.
    if (r.outcome == Outcome::silent_end) {
        r.report = (WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                                        : "code " + std::to_string(WEXITSTATUS(status))) +
                   ", " + last_words(folder);
    }
    if (console.find("BBP check failed") != std::string::npos) r.outcome = Outcome::late;
    if (r.outcome == Outcome::caught) r.found_in = found_in(console);
    return r;
}

// What a campaign needs to know of its settings.
struct Known {
    std::map<std::string, std::string> right;  // by Setting::value()
    std::map<std::string, Span> usual;         // by Setting::work()
};

struct Undisturbed {
    Span span;
    std::string digits;
};
Undisturbed run_undisturbed(const Options& o, const Setting& setting, const fs::path& folder) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    Child child(o, setting, folder);
    Undisturbed run;
    while (!child.ended()) {
        if (run.span.begin == 0 && has_begun(o, folder)) {
            run.span.begin = std::max(0.0, cpu_seconds_of(child.pid()));
        }
        pause_briefly();
    }
    run.span.end = child.cpu_seconds();
    const DigitFile file = digit_file(folder);
    if (child.status() == 0 && file.named) run.digits = file.digits;
    return run;
}
[[noreturn]] void undisturbed_failed(const fs::path& folder) {
    std::fprintf(stderr, "The undisturbed run failed:\n%s\n", read_file(folder / "console.txt").c_str());
    std::exit(2);
}

// What MPFR says, or an undisturbed run of another algorithm: the second one, or the first one where the
// campaign is about that.
std::string right_digits(const Options& o, const Setting& setting, const fs::path& folder) {
    std::string right = reference_digits(setting.constant, setting.digits);
    if (!right.empty()) return right;
    Setting other = setting;
    other.algorithm = setting.algorithm.empty() || setting.algorithm == "0" ? "1" : "0";
    right = run_undisturbed(o, other, folder).digits;
    if (right.empty()) undisturbed_failed(folder);
    return right;
}

// One undisturbed run for each kind of work: what it delivers must be right, and the time it takes sets the
// moments.
Known learn(const Options& o, const std::vector<Setting>& settings, const fs::path& folder) {
    Known known;
    for (u64 i = 0; i < std::min<u64>(o.runs, settings.size()); i++) {
        const Setting& setting = settings[(o.first + i) % settings.size()];
        std::string& right = known.right[setting.value()];
        if (right.empty()) right = right_digits(o, setting, folder);
        if (known.usual.count(setting.work()) != 0) continue;
        const Undisturbed run = run_undisturbed(o, setting, folder);
        if (run.digits != right) undisturbed_failed(folder);
        known.usual[setting.work()] = run.span;
    }
    return known;
}

using Table = std::map<std::string, std::map<Outcome, u64>>;  // by fault

void print_run(u64 number, const Setting& setting, const Result& r) {
    std::string arguments;
    for (const std::string& a : setting.arguments()) arguments += " " + a;
    std::printf("  run %llu: %s, %s at %.3f, %s %016llx bit %llu, %s%s %s, at \"%s\": %s\n",
                static_cast<unsigned long long>(number), kNames[static_cast<int>(r.outcome)],
                r.fault.kind.c_str(), r.moment, setting.place.c_str(),
                static_cast<unsigned long long>(r.fault.address),
                static_cast<unsigned long long>(r.fault.bit), setting.constant.c_str(), arguments.c_str(),
                setting.isa.c_str(), r.during.c_str(), r.report.c_str());
    std::fflush(stdout);
}

void print_table(const Table& table) {
    std::printf("%-10s", "fault");
    for (const char* name : kNames) std::printf("  %s", name);
    std::printf("\n");
    for (const auto& [kind, counts] : table) {
        std::printf("%-10s", kind.c_str());
        for (int k = 0; k < kOutcomes; k++) {
            const auto count = counts.find(static_cast<Outcome>(k));
            std::printf("  %*llu", static_cast<int>(std::strlen(kNames[k])),
                        static_cast<unsigned long long>(count == counts.end() ? 0 : count->second));
        }
        std::printf("\n");
    }
}

// Of the faults that mattered: where they were met, and how many of them were corrected.
struct Tally {
    u64 corrected = 0, caught = 0;
};
void print_tally(const std::map<std::string, Tally>& tally) {
    for (const auto& [where, t] : tally) {
        const u64 all = t.corrected + t.caught;
        std::printf("found in %-21s %llu, %llu corrected (%.0f %%)\n", (where + ":").c_str(),
                    static_cast<unsigned long long>(all), static_cast<unsigned long long>(t.corrected),
                    100.0 * static_cast<double>(t.corrected) / static_cast<double>(all));
    }
}

void print_summary(const Table& table, double seconds) {
    u64 all = 0, sums[kOutcomes] = {};
    for (const auto& [kind, counts] : table) {
        for (const auto& [outcome, count] : counts) {
            sums[static_cast<int>(outcome)] += count;
            all += count;
        }
    }
    std::printf("%llu runs in %.0f s:", static_cast<unsigned long long>(all), seconds);
    for (int k = 0; k < kOutcomes; k++) {
        std::printf("%s %llu %s", k == 0 ? "" : ",", static_cast<unsigned long long>(sums[k]), kNames[k]);
    }
    std::printf("\n");
}

}  // namespace

int main(int n, char** arguments) {
    const Options o = parse(n, arguments);
    const std::vector<Setting> settings = settings_of(o);
    char pattern[] = "/tmp/bit_flips.XXXXXX";
    if (mkdtemp(pattern) == nullptr) return 2;
    const fs::path folder = pattern;
    const auto start = Clock::now();
    const Known known = learn(o, settings, folder / "run");
    std::printf("%llu runs from %llu on, seed %llu, %zu settings, fault %s\n",
                static_cast<unsigned long long>(o.runs), static_cast<unsigned long long>(o.first),
                static_cast<unsigned long long>(o.seed), settings.size(), o.fault.c_str());
    std::fflush(stdout);

    Table table;
    std::map<std::string, Tally> tally;
    u64 next = o.first;
    bool bad = false;
    std::mutex mutex;
    const auto work = [&](u64 job) {
        for (;;) {
            u64 number;
            {
                const std::lock_guard<std::mutex> lock(mutex);
                if (next == o.first + o.runs) return;
                number = next++;
            }
            const Setting& setting = settings[number % settings.size()];
            const Result r = one_run(o, setting, number, known.usual.at(setting.work()),
                                     known.right.at(setting.value()), folder / std::to_string(job));
            const std::lock_guard<std::mutex> lock(mutex);
            table[r.fault.kind.empty() ? "(none)" : r.fault.kind][r.outcome]++;
            if (r.outcome == Outcome::corrected) tally[r.found_in].corrected++;
            if (r.outcome == Outcome::caught) tally[r.found_in].caught++;
            bad |= is_bad(r.outcome);
            const bool quiet = r.outcome == Outcome::harmless || r.outcome == Outcome::not_placed;
            if (is_bad(r.outcome) || (o.verbose && !quiet)) print_run(number, setting, r);
        }
    };
    std::vector<std::thread> jobs;
    for (u64 job = 0; job < o.jobs; job++) jobs.emplace_back(work, job);
    for (std::thread& job : jobs) job.join();

    if (!o.summary) {
        print_table(table);
        print_tally(tally);
    }
    print_summary(table, std::chrono::duration<double>(Clock::now() - start).count());
    fs::remove_all(folder);
    return bad ? 1 : 0;
}
