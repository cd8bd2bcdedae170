/// Part of the coverage build only, whose linker calls these in place of _exit() and _Exit(). The
/// updater leaves without running exit handlers, and one of them writes the counters.

extern "C" {
void __gcov_dump();
[[noreturn]] void __real__exit(int code);

[[noreturn]] void __wrap__exit(int code)
{
    __gcov_dump();
    __real__exit(code);
}

[[noreturn]] void __wrap__Exit(int code)
{
    __wrap__exit(code);
}
}
