// Preloaded into a program: makes one allocation of its main function fail, the one numbered
// FAILING, counted from 0, and with FOR_GOOD also all later ones. Writes the number of allocations
// to the file ALLOCATIONS.

#include <dlfcn.h>
#include <errno.h>
#include <limits.h>
#include <locale.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>

typedef int main_function(int, char**, char**);
typedef int start_function(main_function*, int, char**, void (*)(void), void (*)(void),
                           void (*)(void), void*);

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the platform's names
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
start_function __libc_start_main;

static main_function* program;
static atomic_int is_armed;
static atomic_long count;
static long failing = LONG_MAX;
static int is_for_good;

static int fails_now(void) {
    if (!is_armed) {
        return 0;
    }
    long const number = count++;
    int const fails = number == failing || (number > failing && is_for_good);
    errno = fails ? ENOMEM : errno;
    return fails;
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the platform's are reserved
void* malloc(size_t size) {
    return fails_now() ? NULL : __libc_malloc(size);
}

void* calloc(size_t number, size_t size) {
    return fails_now() ? NULL : __libc_calloc(number, size);
}

void* realloc(void* block, size_t size) {
    return fails_now() ? NULL : __libc_realloc(block, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
    return fails_now() ? NULL : __libc_memalign(alignment, size);
}

// What newer C++ libraries call instead.
int posix_memalign(void** block, size_t alignment, size_t size) {
    *block = aligned_alloc(alignment, size);
    return *block != NULL ? 0 : ENOMEM;
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

static void report(void) {
    is_armed = 0;
    char const* const path = getenv("ALLOCATIONS");
    FILE* const file = path != NULL ? fopen(path, "w") : NULL;
    if (file != NULL) {
        fprintf(file, "%ld\n", count);
        fclose(file);
    }
}

// If the program uses the XML library and its set-up fails, the XML library ends the process. If
// the C library fails to load a locale, it never tries again. So both are set up beforehand.
static void set_up_libraries(void) {
    locale_t const former = uselocale(newlocale(LC_CTYPE_MASK, "C.UTF-8", NULL));
    btowc(0x80);  // not ASCII, so it needs the conversion
    uselocale(former);
    char const* const names[] = {"xmlInitParser", "xmlSchemaInitTypes", "xmlRelaxNGInitTypes"};
    for (size_t i = 0; i < sizeof names / sizeof *names; ++i) {
        void (*const set_up)(void) = __extension__(void (*)(void)) dlsym(RTLD_DEFAULT, names[i]);
        if (set_up != NULL) {
            set_up();
        }
    }
}

static int armed_main(int words, char** first, char** environment) {
    char const* const number = getenv("FAILING");
    failing = number != NULL ? strtol(number, NULL, 10) : LONG_MAX;
    is_for_good = getenv("FOR_GOOD") != NULL;
    set_up_libraries();
    atexit(report);
    is_armed = 1;
    return program(words, first, environment);
}

int __libc_start_main(main_function* wrapped, int words, char** first, void (*init)(void),
                      void (*fini)(void), void (*end)(void), void* stack_end) {
    // POSIX lets a void pointer hold a function, ISO C does not.
    start_function* const next =
        __extension__(start_function*) dlsym(RTLD_NEXT, "__libc_start_main");
    program = wrapped;
    return next(armed_main, words, first, init, fini, end, stack_end);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
