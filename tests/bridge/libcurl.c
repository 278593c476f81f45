/* libcurl.dll for the tests under Wine: hands the calls on to the host's libcurl.so.4. Of the options that take a function
 * it carries what the library and its backends use; any other is an unknown option.
 * The callers' side has the Windows calling convention and a long of 32 bits, the host's its own and 64. */
#include <dlfcn.h>
#include <errno.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#define MS __attribute__((ms_abi))

enum { kOk = 0, kFailedInit = 2, kUnknownOption = 48 };

/* As in wine/winbase.h, which does not go with the host's headers: the caller frees by HeapFree. */
char *MS wine_get_unix_file_name(const unsigned short *dos);
void *MS GetProcessHeap(void);
int MS HeapFree(void *heap, unsigned flags, void *memory);

typedef long long offset;
typedef size_t(MS *block_callback)(char *, size_t, size_t, void *);
typedef int(MS *progress_callback)(void *, offset, offset, offset, offset);
typedef int(MS *key_callback)(void *, const void *, const void *, int, void *);
typedef int(MS *socket_callback)(void *, size_t, int);
typedef int(MS *close_callback)(void *, size_t);

struct callback {
    void *function, *data;
};

/* One easy handle, with the callers' callbacks. */
struct easy {
    void *real;
    struct callback write, read, header, progress, key, take_socket, close_socket;
    int socket; /* the newest, -1 when it is closed */
};

static struct {
    int (*global_init)(long);
    void (*global_cleanup)(void);
    void *(*easy_init)(void);
    int (*setopt)(void *, int, ...);
    int (*perform)(void *);
    int (*getinfo)(void *, int, ...);
    const char *(*strerror)(int);
    void (*cleanup)(void *);
} host;

static int load_host(void)
{
    void *library;
    if (host.cleanup)
        return 1;
    library = dlopen("libcurl.so.4", RTLD_NOW | RTLD_LOCAL);
    if (!library)
        return 0;
    host.global_init = dlsym(library, "curl_global_init");
    host.global_cleanup = dlsym(library, "curl_global_cleanup");
    host.easy_init = dlsym(library, "curl_easy_init");
    host.setopt = dlsym(library, "curl_easy_setopt");
    host.perform = dlsym(library, "curl_easy_perform");
    host.getinfo = dlsym(library, "curl_easy_getinfo");
    host.strerror = dlsym(library, "curl_easy_strerror");
    host.cleanup = dlsym(library, "curl_easy_cleanup");
    return host.cleanup != NULL;
}

/* ---- The host's callbacks ---- */

static size_t on_write(char *data, size_t size, size_t count, void *user)
{
    struct easy *easy = user;
    return ((block_callback)easy->write.function)(data, size, count, easy->write.data);
}

static size_t on_read(char *data, size_t size, size_t count, void *user)
{
    struct easy *easy = user;
    return ((block_callback)easy->read.function)(data, size, count, easy->read.data);
}

static size_t on_header(char *data, size_t size, size_t count, void *user)
{
    struct easy *easy = user;
    return ((block_callback)easy->header.function)(data, size, count, easy->header.data);
}

/* The caller ends a connection by a call of its own system, which does not know the host's sockets: shutting one is done
 * here, when the caller gives up, and so is closing it. */
static int on_progress(void *user, offset total, offset now, offset up_total, offset up_now)
{
    struct easy *easy = user;
    const int result = ((progress_callback)easy->progress.function)(easy->progress.data, total, now, up_total, up_now);
    if (result && easy->socket >= 0)
        shutdown(easy->socket, SHUT_RDWR);
    return result;
}

/* A number that is no handle there. */
static size_t name_socket(int socket)
{
    return 0x40000000 + (size_t)socket * 4;
}

static int on_take_socket(void *user, int socket, int purpose)
{
    struct easy *easy = user;
    easy->socket = socket;
    return ((socket_callback)easy->take_socket.function)(easy->take_socket.data, name_socket(socket), purpose);
}

static int on_close_socket(void *user, int socket)
{
    struct easy *easy = user;
    if (easy->socket == socket)
        easy->socket = -1;
    ((close_callback)easy->close_socket.function)(easy->close_socket.data, name_socket(socket));
    return close(socket);
}

static int on_key(void *real, const void *known, const void *found, int match, void *user)
{
    struct easy *easy = user;
    (void)real;
    return ((key_callback)easy->key.function)(easy, known, found, match, easy->key.data);
}

/* ---- Options ---- */

/* The numbers tell what an option takes: from 10000 a pointer, from 20000 a function, from 30000 an offset. A text,
 * a buffer and a list of headers have the same shape on both sides. */
enum { CAINFO = 10065, SSH_KNOWNHOSTS = 10183, FIRST_POINTER = 10000, FIRST_CALLBACK = 20000, FIRST_OFFSET = 30000 };

/* A callback, and the option of its data. */
static const struct option {
    int number, data_number;
    size_t place; /* in struct easy */
    void *host;   /* what the host's library gets */
} callbacks[] = {
    {20011, 10001, offsetof(struct easy, write), on_write},
    {20012, 10009, offsetof(struct easy, read), on_read},
    {20079, 10029, offsetof(struct easy, header), on_header},
    {20219, 10057, offsetof(struct easy, progress), on_progress},
    {20184, 10185, offsetof(struct easy, key), on_key},
    {20148, 10149, offsetof(struct easy, take_socket), on_take_socket},
    {20208, 10209, offsetof(struct easy, close_socket), on_close_socket},
};

/* Keeps a callback or its data for the caller; false when the option is neither. */
static int keep(struct easy *easy, int number, void *value, int *result)
{
    size_t i;
    for (i = 0; i < sizeof callbacks / sizeof callbacks[0]; ++i) {
        const struct option *option = &callbacks[i];
        struct callback *callback = (struct callback *)((char *)easy + option->place);
        *result = kOk;
        if (number == option->data_number) {
            callback->data = value;
            return 1;
        }
        if (number == option->number) {
            callback->function = value;
            host.setopt(easy->real, option->data_number, easy);
            *result = host.setopt(easy->real, number, value ? option->host : NULL);
            return 1;
        }
    }
    return 0;
}

/* A file's name is the caller's system's; names here are ASCII. */
static int set_file_name(void *real, int option, const char *name)
{
    unsigned short wide[1024];
    size_t i, length;
    char *unix_name;
    int result;
    if (!name)
        return host.setopt(real, option, NULL);
    length = strlen(name);
    if (length >= sizeof wide / sizeof wide[0])
        return kUnknownOption;
    for (i = 0; i <= length; ++i)
        wide[i] = (unsigned char)name[i];
    unix_name = wine_get_unix_file_name(wide);
    result = host.setopt(real, option, unix_name ? unix_name : name);
    HeapFree(GetProcessHeap(), 0, unix_name);
    return result;
}

int MS bridge_easy_setopt(struct easy *easy, int number, ...)
{
    __builtin_ms_va_list arguments;
    void *value;
    int result;
    __builtin_ms_va_start(arguments, number);
    value = __builtin_va_arg(arguments, void *);
    __builtin_ms_va_end(arguments);
    if (keep(easy, number, value, &result))
        return result;
    if (number < FIRST_POINTER)
        return host.setopt(easy->real, number, (long)(int)(size_t)value);
    if (number == CAINFO || number == SSH_KNOWNHOSTS)
        return set_file_name(easy->real, number, value);
    if (number >= FIRST_OFFSET)
        return host.setopt(easy->real, number, (offset)(size_t)value);
    return number < FIRST_CALLBACK ? host.setopt(easy->real, number, value) : kUnknownOption;
}

/* ---- What is asked for after a transfer ---- */

/* The kinds of numbers; everything else has the same shape on both sides. */
enum { KIND = 0xf00000, LONG = 0x200000, OS_ERRNO = 0x200019 };

/* Of the system's errors the callers look for those that mean that there is no way to the server. */
static int windows_error(long error)
{
    return error == ENETUNREACH ? 10051 : error == EHOSTUNREACH ? 10065 : (int)error;
}

int MS bridge_easy_getinfo(struct easy *easy, int info, ...)
{
    __builtin_ms_va_list arguments;
    void *result;
    long number = 0;
    int code;
    __builtin_ms_va_start(arguments, info);
    result = __builtin_va_arg(arguments, void *);
    __builtin_ms_va_end(arguments);
    if ((info & KIND) != LONG)
        return host.getinfo(easy->real, info, result);
    code = host.getinfo(easy->real, info, &number);
    if (code == kOk)
        *(int *)result = info == OS_ERRNO ? windows_error(number) : (int)number;
    return code;
}

/* ---- The rest ---- */

int MS bridge_global_init(int flags)
{
    return load_host() ? host.global_init(flags) : kFailedInit;
}

void MS bridge_global_cleanup(void)
{
    if (load_host())
        host.global_cleanup();
}

void *MS bridge_easy_init(void)
{
    struct easy *easy;
    if (!load_host())
        return NULL;
    easy = calloc(1, sizeof *easy);
    easy->socket = -1;
    easy->real = host.easy_init();
    if (!easy->real) {
        free(easy);
        return NULL;
    }
    return easy;
}

int MS bridge_easy_perform(struct easy *easy)
{
    return host.perform(easy->real);
}

const char *MS bridge_easy_strerror(int code)
{
    return load_host() ? host.strerror(code) : "no libcurl";
}

void MS bridge_easy_cleanup(struct easy *easy)
{
    host.cleanup(easy->real);
    free(easy);
}
