/* libcurl.dll for the tests under Wine: hands the calls on to the host's libcurl.so.4. It carries what the library and
 * its backends use and answers everything else with "unknown option", so that a use without a test is noticed.
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

/* One easy handle, with the callers' callbacks. */
struct easy {
    void *real;
    block_callback write, read, header;
    void *write_data, *read_data, *header_data;
    progress_callback progress;
    void *progress_data;
    key_callback key;
    void *key_data;
    socket_callback take_socket;
    void *take_data;
    close_callback close_socket;
    void *close_data;
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
    return easy->write(data, size, count, easy->write_data);
}

static size_t on_read(char *data, size_t size, size_t count, void *user)
{
    struct easy *easy = user;
    return easy->read(data, size, count, easy->read_data);
}

static size_t on_header(char *data, size_t size, size_t count, void *user)
{
    struct easy *easy = user;
    return easy->header(data, size, count, easy->header_data);
}

/* The caller ends a connection by a call of its own system, which does not know the host's sockets: shutting one is done
 * here, when the caller gives up, and so is closing it. */
static int on_progress(void *user, offset total, offset now, offset up_total, offset up_now)
{
    struct easy *easy = user;
    const int result = easy->progress(easy->progress_data, total, now, up_total, up_now);
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
    return easy->take_socket(easy->take_data, name_socket(socket), purpose);
}

static int on_close_socket(void *user, int socket)
{
    struct easy *easy = user;
    if (easy->socket == socket)
        easy->socket = -1;
    easy->close_socket(easy->close_data, name_socket(socket));
    return close(socket);
}

static int on_key(void *real, const void *known, const void *found, int match, void *user)
{
    struct easy *easy = user;
    (void)real;
    return easy->key(easy, known, found, match, easy->key_data);
}

/* ---- Options ---- */

enum kind { NUMBER, TEXT, FILE_NAME, POINTER, OFFSET, CALLBACK, CALLBACK_DATA };

struct option {
    int number;
    enum kind kind;
    size_t slot;     /* of a callback or its data: the place in struct easy */
    int data_option; /* of a callback: the option of its data */
    void *host;      /* of a callback: what the host's library gets */
};

static const struct option options[] = {
    {10002, TEXT, 0, 0, NULL},       /* URL */
    {10004, TEXT, 0, 0, NULL},       /* PROXY */
    {10173, TEXT, 0, 0, NULL},       /* USERNAME */
    {10174, TEXT, 0, 0, NULL},       /* PASSWORD */
    {10177, TEXT, 0, 0, NULL},       /* NOPROXY */
    {10230, TEXT, 0, 0, NULL},       /* PINNEDPUBLICKEY */
    {10318, TEXT, 0, 0, NULL},       /* PROTOCOLS_STR */
    {10065, FILE_NAME, 0, 0, NULL},  /* CAINFO */
    {10183, FILE_NAME, 0, 0, NULL},  /* SSH_KNOWNHOSTS */
    {10010, POINTER, 0, 0, NULL},    /* ERRORBUFFER */
    {10015, POINTER, 0, 0, NULL},    /* POSTFIELDS */
    {10023, POINTER, 0, 0, NULL},    /* HTTPHEADER: a list of the same shape on both sides */
    {13, NUMBER, 0, 0, NULL},        /* TIMEOUT */
    {43, NUMBER, 0, 0, NULL},        /* NOPROGRESS */
    {44, NUMBER, 0, 0, NULL},        /* NOBODY */
    {45, NUMBER, 0, 0, NULL},        /* FAILONERROR */
    {46, NUMBER, 0, 0, NULL},        /* UPLOAD */
    {48, NUMBER, 0, 0, NULL},        /* DIRLISTONLY */
    {52, NUMBER, 0, 0, NULL},        /* FOLLOWLOCATION */
    {64, NUMBER, 0, 0, NULL},        /* SSL_VERIFYPEER */
    {69, NUMBER, 0, 0, NULL},        /* FILETIME */
    {74, NUMBER, 0, 0, NULL},        /* FRESH_CONNECT */
    {78, NUMBER, 0, 0, NULL},        /* CONNECTTIMEOUT */
    {81, NUMBER, 0, 0, NULL},        /* SSL_VERIFYHOST */
    {98, NUMBER, 0, 0, NULL},        /* BUFFERSIZE */
    {99, NUMBER, 0, 0, NULL},        /* NOSIGNAL */
    {107, NUMBER, 0, 0, NULL},       /* HTTPAUTH */
    {138, NUMBER, 0, 0, NULL},       /* FTP_FILEMETHOD */
    {141, NUMBER, 0, 0, NULL},       /* CONNECT_ONLY */
    {151, NUMBER, 0, 0, NULL},       /* SSH_AUTH_TYPES */
    {213, NUMBER, 0, 0, NULL},       /* TCP_KEEPALIVE */
    {234, NUMBER, 0, 0, NULL},       /* PATH_AS_IS */
    {280, NUMBER, 0, 0, NULL},       /* UPLOAD_BUFFERSIZE */
    {322, NUMBER, 0, 0, NULL},       /* QUICK_EXIT */
    {30115, OFFSET, 0, 0, NULL},     /* INFILESIZE_LARGE */
    {30116, OFFSET, 0, 0, NULL},     /* RESUME_FROM_LARGE */
    {30120, OFFSET, 0, 0, NULL},     /* POSTFIELDSIZE_LARGE */
    {20011, CALLBACK, offsetof(struct easy, write), 10001, on_write},
    {20012, CALLBACK, offsetof(struct easy, read), 10009, on_read},
    {20079, CALLBACK, offsetof(struct easy, header), 10029, on_header},
    {20219, CALLBACK, offsetof(struct easy, progress), 10057, on_progress},
    {20184, CALLBACK, offsetof(struct easy, key), 10185, on_key},
    {20148, CALLBACK, offsetof(struct easy, take_socket), 10149, on_take_socket},
    {20208, CALLBACK, offsetof(struct easy, close_socket), 10209, on_close_socket},
    {10149, CALLBACK_DATA, offsetof(struct easy, take_data), 0, NULL},
    {10209, CALLBACK_DATA, offsetof(struct easy, close_data), 0, NULL},
    {10001, CALLBACK_DATA, offsetof(struct easy, write_data), 0, NULL},
    {10009, CALLBACK_DATA, offsetof(struct easy, read_data), 0, NULL},
    {10029, CALLBACK_DATA, offsetof(struct easy, header_data), 0, NULL},
    {10057, CALLBACK_DATA, offsetof(struct easy, progress_data), 0, NULL},
    {10185, CALLBACK_DATA, offsetof(struct easy, key_data), 0, NULL},
};

static const struct option *find_option(int number)
{
    size_t i;
    for (i = 0; i < sizeof options / sizeof options[0]; ++i) {
        if (options[i].number == number)
            return &options[i];
    }
    return NULL;
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

static int set_callback(struct easy *easy, const struct option *option, void *callback)
{
    *(void **)((char *)easy + option->slot) = callback;
    host.setopt(easy->real, option->data_option, easy);
    return host.setopt(easy->real, option->number, callback ? option->host : NULL);
}

int MS bridge_easy_setopt(struct easy *easy, int number, ...)
{
    const struct option *option = find_option(number);
    __builtin_ms_va_list arguments;
    void *value;
    if (!option)
        return kUnknownOption;
    __builtin_ms_va_start(arguments, number);
    value = __builtin_va_arg(arguments, void *);
    __builtin_ms_va_end(arguments);
    switch (option->kind) {
    case NUMBER:
        return host.setopt(easy->real, number, (long)(int)(size_t)value);
    case OFFSET:
        return host.setopt(easy->real, number, (offset)(size_t)value);
    case FILE_NAME:
        return set_file_name(easy->real, number, value);
    case CALLBACK:
        return set_callback(easy, option, value);
    case CALLBACK_DATA:
        *(void **)((char *)easy + option->slot) = value;
        return kOk;
    default:
        return host.setopt(easy->real, number, value);
    }
}

/* ---- What is asked for after a transfer ---- */

enum { RESPONSE_CODE = 0x200002, OS_ERRNO = 0x200019, NUM_CONNECTS = 0x20001a };
enum { NAMELOOKUP_TIME = 0x300004, APPCONNECT_TIME = 0x300021 };
enum { FILETIME_T = 0x60000e, CONTENT_LENGTH_DOWNLOAD_T = 0x60000f };

static int windows_error(long error)
{
    switch (error) {
    case ENETDOWN:
        return 10050;
    case ENETUNREACH:
        return 10051;
    case ETIMEDOUT:
        return 10060;
    case ECONNREFUSED:
        return 10061;
    case EHOSTUNREACH:
        return 10065;
    default:
        return (int)error;
    }
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
    switch (info) {
    case RESPONSE_CODE:
    case OS_ERRNO:
    case NUM_CONNECTS:
        code = host.getinfo(easy->real, info, &number);
        if (code == kOk)
            *(int *)result = info == OS_ERRNO ? windows_error(number) : (int)number;
        return code;
    case NAMELOOKUP_TIME:
    case APPCONNECT_TIME:
    case FILETIME_T:
    case CONTENT_LENGTH_DOWNLOAD_T:
        return host.getinfo(easy->real, info, result);
    default:
        return kUnknownOption;
    }
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
