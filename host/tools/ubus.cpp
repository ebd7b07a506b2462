// The parts of the ubus command that scripts and the simulated router use: list and call, with the real one's texts and
// statuses.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

extern "C" {
#include <libubox/blobmsg_json.h>
}
#include <libubus.h>

namespace {

constexpr int usage_wanted = -2;

struct Options {
    const char *socket_path = nullptr;
    int timeout_s = 30;
    bool simple = false;
    bool verbose = false;
};

struct FreeText {
    char *text;
    ~FreeText() { free(text); }
};

struct Message {
    Message() { blob_buf_init(&buffer, 0); }
    ~Message() { blob_buf_free(&buffer); }
    blob_buf buffer{};
};

int print_usage(const char *program)
{
    fprintf(stderr,
            "Usage: %s [<options>] <command> [arguments...]\n"
            "Options:\n"
            " -s <socket>:\t\tThe socket to connect to\n"
            " -t <timeout>:\t\tSeconds to wait for the answer to a call\n"
            " -S:\t\t\tOutput for scripts: JSON in one line, no messages\n"
            " -v:\t\t\tMore output\n"
            "\n"
            "Commands:\n"
            " - list [<path>]\t\t\tList objects\n"
            " - call <path> <method> [<message>]\tCall a method of an object\n"
            "\n",
            program);
    return 1;
}

const char *format_type(void *, blob_attr *attr)
{
    if (blobmsg_type(attr) != BLOBMSG_TYPE_INT32)
        return nullptr;
    switch (blobmsg_get_u32(attr)) {
    case BLOBMSG_TYPE_INT8:
        return "\"Boolean\"";
    case BLOBMSG_TYPE_INT32:
        return "\"Integer\"";
    case BLOBMSG_TYPE_STRING:
        return "\"String\"";
    case BLOBMSG_TYPE_ARRAY:
        return "\"Array\"";
    case BLOBMSG_TYPE_TABLE:
        return "\"Table\"";
    default:
        return "\"(unknown)\"";
    }
}

void print_object(ubus_context *, ubus_object_data *object, void *priv)
{
    const auto &options = *static_cast<const Options *>(priv);
    if (options.simple || !options.verbose) {
        puts(object->path);
        return;
    }
    printf("'%s' @%08x\n", object->path, object->id);
    blob_attr *method;
    size_t rest;
    blob_for_each_attr(method, object->signature, rest)
    {
        const FreeText json{blobmsg_format_json_with_cb(method, false, format_type, nullptr, -1)};
        printf("\t%s\n", json.text ? json.text : "");
    }
}

void print_reply(ubus_request *request, int, blob_attr *message)
{
    const auto &options = *static_cast<const Options *>(request->priv);
    const FreeText json{blobmsg_format_json_indent(message, true, options.simple ? -1 : 0)};
    puts(json.text ? json.text : "");
}

/// If the error text goes to a file or a pipe, it names the failed call, and the status is the negative code.
int report_failed_call(const Options &options, char **words, int count, int status)
{
    if (options.simple || isatty(STDERR_FILENO))
        return status;
    fputs("Command failed: ubus call ", stderr);
    for (int i = 0; i < count; i++)
        fprintf(stderr, "%s ", words[i]);
    fprintf(stderr, "(%s)\n", ubus_strerror(status));
    return -status;
}

int run_list(ubus_context *ctx, Options &options, char **words, int count)
{
    if (count > 1)
        return usage_wanted;
    return ubus_lookup(ctx, count == 1 ? words[0] : nullptr, print_object, &options);
}

int run_call(ubus_context *ctx, Options &options, char **words, int count)
{
    if (count < 2 || count > 3)
        return usage_wanted;
    Message arguments;
    if (count == 3 && !blobmsg_add_json_from_string(&arguments.buffer, words[2]))
        return report_failed_call(options, words, count, UBUS_STATUS_PARSE_ERROR);
    uint32_t id = 0;
    if (const int status = ubus_lookup_id(ctx, words[0], &id); status != 0)
        return status;
    const int status =
        ubus_invoke(ctx, id, words[1], arguments.buffer.head, print_reply, &options, options.timeout_s * 1000);
    return status == 0 ? 0 : report_failed_call(options, words, count, status);
}

bool read_options(int argc, char **argv, Options &options)
{
    int option;
    while ((option = getopt(argc, argv, "vs:t:S")) != -1) {
        if (option == 's')
            options.socket_path = optarg;
        else if (option == 't')
            options.timeout_s = atoi(optarg);
        else if (option == 'S')
            options.simple = true;
        else if (option == 'v')
            options.verbose = true;
        else
            return false;
    }
    return optind < argc;
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    if (!read_options(argc, argv, options))
        return print_usage(argv[0]);
    ubus_context *ctx = ubus_connect(options.socket_path);
    if (!ctx) {
        if (!options.simple)
            fputs("Failed to connect to ubus\n", stderr);
        return -1;
    }
    char **words = argv + optind + 1;
    const int count = argc - optind - 1;
    int status = usage_wanted;
    if (strcmp(argv[optind], "list") == 0)
        status = run_list(ctx, options, words, count);
    else if (strcmp(argv[optind], "call") == 0)
        status = run_call(ctx, options, words, count);
    if (status > 0 && !options.simple)
        fprintf(stderr, "Command failed: %s\n", ubus_strerror(status));
    else if (status == usage_wanted)
        print_usage(argv[0]);
    ubus_free(ctx);
    return status;
}
