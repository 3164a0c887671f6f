// ThreadSanitizer reports whoever gives back a lock that he does not hold. A test does just that, to
// see it refused.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();

const char* __tsan_default_suppressions() {
    return "mutex:Robust_Mutex.cpp\n";
}
