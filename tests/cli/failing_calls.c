/*
 * Preloaded (LD_PRELOAD), this makes one call of a program fail, and no other:
 *
 *     VELA_FAIL=write:3:28 LD_PRELOAD=... velajpeg ...    the third write fails with errno 28
 *     VELA_FAIL=read:1:short                              the first read takes a single byte
 *     VELA_FAIL=malloc:7:12+                              the seventh allocation and all that follow
 *     VELA_FAIL=any:20:15                                 gets signal 15 before its twentieth call to the system
 *
 * Calls count from the beginning of main, on all threads; those that write to standard error do not. VELA_FAILED
 * names a file that is made once the call has come, and VELA_COUNTED one that in the end has as many bytes as there
 * were calls.
 */
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

static const char* call_name = "";
static int call_number, call_error, for_good, makes_short;
static atomic_int calls, inside_main;
static size_t least_bytes; /* smaller allocations do not count */

/* The function of that name which this one stands before. */
#define REAL(type, name, ...)         \
    static type (*real)(__VA_ARGS__); \
    if (real == NULL)                 \
    *(void**)&real = dlsym(RTLD_NEXT, name)

static void make_file(const char* variable, long size) {
    const char* const path = getenv(variable);
    if (path == NULL)
        return;
    const int file = (int)syscall(SYS_openat, AT_FDCWD, path, O_CREAT | O_WRONLY, 0600);
    syscall(SYS_ftruncate, file, size);
    syscall(SYS_close, file);
}

__attribute__((destructor)) static void tell_count(void) {
    make_file("VELA_COUNTED", calls);
}

/* Whether this call is the one. */
static int comes(const char* name) {
    const int any = strcmp(call_name, "any") == 0 && strcmp(name, "malloc") != 0;
    if (!inside_main || (!any && strcmp(name, call_name) != 0))
        return 0;
    const int number = atomic_fetch_add(&calls, 1) + 1;
    if (number != call_number && !(for_good && number > call_number))
        return 0;
    if (number == call_number)
        make_file("VELA_FAILED", 0);
    if (any)
        return kill(getpid(), call_error) != 0;
    return 1;
}

static int fails(const char* name) {
    if (!comes(name))
        return 0;
    errno = call_error;
    return 1;
}

/* ---- files */

int open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    REAL(int, "open", const char*, int, ...);
    return fails("open") ? -1 : real(path, flags, mode);
}
int open64(const char* path, int flags, ...) __attribute__((alias("open")));

int openat(int folder, const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    REAL(int, "openat", int, const char*, int, ...);
    return fails("open") ? -1 : real(folder, path, flags, mode);
}

ssize_t read(int file, void* to, size_t count) {
    REAL(ssize_t, "read", int, void*, size_t);
    if (!comes("read"))
        return real(file, to, count);
    errno = call_error;
    return makes_short ? real(file, to, count < 1 ? count : 1) : -1;
}
ssize_t write(int file, const void* from, size_t count) {
    REAL(ssize_t, "write", int, const void*, size_t);
    if (file == STDERR_FILENO || !comes("write"))
        return real(file, from, count);
    errno = call_error;
    return makes_short ? real(file, from, count < 1 ? count : 1) : -1;
}
/* What had been written is lost with it, as on a file system of another machine. */
static void lose_data(int file) {
    if (call_error != EINTR && (fcntl(file, F_GETFL) & O_ACCMODE) != O_RDONLY &&
        ftruncate(file, 0) != 0)
        return; /* a pipe */
}
int close(int file) { /* what fails has closed it all the same */
    REAL(int, "close", int);
    const int failing = fails("close");
    if (failing)
        lose_data(file);
    const int result = real(file);
    if (failing)
        errno = call_error;
    return failing ? -1 : result;
}
int fstat(int file, struct stat* info) {
    REAL(int, "fstat", int, struct stat*);
    return fails("fstat") ? -1 : real(file, info);
}
int stat(const char* path, struct stat* info) {
    REAL(int, "stat", const char*, struct stat*);
    return fails("stat") ? -1 : real(path, info);
}
int lstat(const char* path, struct stat* info) {
    REAL(int, "lstat", const char*, struct stat*);
    return fails("lstat") ? -1 : real(path, info);
}
int access(const char* path, int mode) {
    REAL(int, "access", const char*, int);
    return fails("access") ? -1 : real(path, mode);
}
int rename(const char* from, const char* to) {
    REAL(int, "rename", const char*, const char*);
    return fails("rename") ? -1 : real(from, to);
}
int link(const char* from, const char* to) {
    REAL(int, "link", const char*, const char*);
    return fails("link") ? -1 : real(from, to);
}
int mkdir(const char* path, mode_t mode) {
    REAL(int, "mkdir", const char*, mode_t);
    return fails("mkdir") ? -1 : real(path, mode);
}
int fsync(int file) {
    REAL(int, "fsync", int);
    if (!fails("fsync"))
        return real(file);
    lose_data(file);
    errno = call_error;
    return -1;
}
int dup(int file) {
    REAL(int, "dup", int);
    return fails("dup") ? -1 : real(file);
}
int fchmod(int file, mode_t mode) {
    REAL(int, "fchmod", int, mode_t);
    return fails("fchmod") ? -1 : real(file, mode);
}
int fchown(int file, uid_t user, gid_t group) {
    REAL(int, "fchown", int, uid_t, gid_t);
    return fails("fchown") ? -1 : real(file, user, group);
}
char* realpath(const char* path, char* resolved) {
    REAL(char*, "realpath", const char*, char*);
    return fails("realpath") ? NULL : real(path, resolved);
}
DIR* opendir(const char* path) {
    REAL(DIR*, "opendir", const char*);
    return fails("opendir") ? NULL : real(path);
}
struct dirent* readdir(DIR* folder) {
    REAL(struct dirent*, "readdir", DIR*);
    return fails("readdir") ? NULL : real(folder);
}
struct dirent64* readdir64(DIR* folder) {
    REAL(struct dirent64*, "readdir64", DIR*);
    return fails("readdir") ? NULL : real(folder);
}

/* ---- threads and memory */

int pthread_create(pthread_t* thread, const pthread_attr_t* how, void* (*start)(void*),
                   void* with) {
    REAL(int, "pthread_create", pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    return fails("pthread_create") ? call_error : real(thread, how, start, with);
}

/* glibc's own, since dlsym itself takes memory. */
extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* block, size_t size);
extern void* __libc_memalign(size_t alignment, size_t size);

static int refused(size_t size) {
    return size >= least_bytes && fails("malloc");
}

void* malloc(size_t size) {
    return refused(size) ? NULL : __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    return refused(count * size) ? NULL : __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
    return refused(size) ? NULL : __libc_realloc(block, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
    return refused(size) ? NULL : __libc_memalign(alignment, size);
}
int posix_memalign(void** out, size_t alignment, size_t size) {
    if (refused(size))
        return ENOMEM;
    *out = __libc_memalign(alignment, size);
    return *out != NULL ? 0 : ENOMEM;
}

/* ---- for a program that chooses the time itself: the n-th allocation of so many bytes from now on; 0: none */

void vela_refuse(int number, size_t least) {
    inside_main = 0;
    calls = 0;
    call_name = "malloc";
    call_number = number;
    call_error = ENOMEM;
    least_bytes = least;
    inside_main = number > 0;
}

/* ---- main */

static int (*real_main)(int, char**, char**);

static int counting_main(int argc, char** argv, char** environment) {
    static char text[64];
    const char* const wanted = getenv("VELA_FAIL");
    if (wanted != NULL && strlen(wanted) < sizeof text) {
        strcpy(text, wanted);
        call_name = strtok(text, ":");
        const char* const number = strtok(NULL, ":");
        const char* const how = strtok(NULL, ":");
        if (number != NULL && how != NULL) {
            call_number = atoi(number);
            call_error = atoi(how);
            for_good = strchr(how, '+') != NULL;
            makes_short = strncmp(how, "short", 5) == 0;
            inside_main = 1;
        }
    }
    return real_main(argc, argv, environment);
}

int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(void),
                      void (*fini)(void), void (*rtld_fini)(void), void* stack_end) {
    REAL(int, "__libc_start_main", int (*)(int, char**, char**), int, char**, void (*)(void),
         void (*)(void), void (*)(void), void*);
    real_main = main;
    return real(counting_main, argc, argv, init, fini, rtld_fini, stack_end);
}
