// A library with the entries of the Cilk run-time, for the test that it is found and used.
extern "C" {

int __cilkrts_set_param(const char*, const char*) {
    return 0;
}

void __cilkrts_cilk_for_64(void (*body)(void*, unsigned long long, unsigned long long), void* data,
                           unsigned long long count, int) {
    for (unsigned long long i = count; i-- > 0;) body(data, i, i + 1);
}

void __cilkrts_end_cilk() {}
}
