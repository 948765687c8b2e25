// In every program of a thread sanitizer build.
extern "C" const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
    // A module wakes under its own section and then passes the dictionary's gate to add its objects; it is put to sleep
    // by the holder of the gate, who then enters that section. The two never meet: whoever wakes a module has a shared
    // hold on the dictionary, and the gate is held for longer than a look at the count only when there is no such hold.
    // The detector knows of sections alone, not of that count.
    return "deadlock:CModuleActivator::Activate\n";
}
