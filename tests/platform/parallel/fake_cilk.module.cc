// A library with the entries of the Cilk run-time, for the test that it is found and used.
extern "C" {

int __cilkrts_set_param(const char*, const char*) {
    return 0;
}

void __cilkrts_cilk_for_64(void (*body)(void*, unsigned long long, unsigned long long), void* data,
                           unsigned long long count, int grain) {
    const unsigned long long step = grain < 1 ? count : static_cast<unsigned long long>(grain);
    for (unsigned long long end = count; end > 0;) {
        const unsigned long long begin = end < step ? 0 : end - step;
        body(data, begin, end);
        end = begin;
    }
}

void __cilkrts_end_cilk() {}
}
