// modemapi METHOD PATH [REQUEST]: a web back end for one request, by hand. It loads libmodemapi.so, finds the route and
// calls its handler, then prints the status on one line and the response below it. Without arguments it reads such
// requests from standard input, one a line, serves them one after another in this process, and answers each with one
// line: the status, a blank and the response. The line "usage" is answered with the descriptors that are open and,
// if the C library counts them, the bytes of memory in use. For another processor the library's code is in this
// program.

#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <iostream>
#include <malloc.h>
#include <memory>
#include <sstream>
#include <string>
#include <strings.h>
#include <unistd.h>
#include <vector>

#include "api/modem_api.h"

extern "C" __attribute__((weak)) const ModemRoute *modem_api_routes(int32_t *count);

namespace {

constexpr int wrong_usage = 2;

struct Put {
    void operator()(json_object *object) const { json_object_put(object); }
};
using Value = std::unique_ptr<json_object, Put>;

struct Routes {
    const ModemRoute *first = nullptr;
    int32_t count = 0;

    const ModemRoute *find(const std::string &method, const std::string &path) const
    {
        for (const ModemRoute *route = first; route != first + count; route++)
            if (path == route->path && strcasecmp(method.c_str(), route->method) == 0)
                return route;
        return nullptr;
    }
};

// The library beside this program, else the system's.
void *load_library()
{
    std::string beside(4096, '\0');
    const ssize_t length = readlink("/proc/self/exe", beside.data(), beside.size());
    beside.resize(length < 0 ? 0 : static_cast<size_t>(length));
    beside.resize(beside.rfind('/') + 1);
    if (void *library = dlopen((beside + "libmodemapi.so").c_str(), RTLD_NOW))
        return library;
    return dlopen("libmodemapi.so", RTLD_NOW);
}

bool load_routes(Routes &routes)
{
    auto *getter = &modem_api_routes;
    if (getter == nullptr)
        if (void *library = load_library())
            getter = reinterpret_cast<decltype(getter)>(dlsym(library, "modem_api_routes"));
    if (getter == nullptr) {
        fprintf(stderr, "modemapi: %s\n", dlerror());
        return false;
    }
    routes.first = getter(&routes.count);
    return true;
}

struct Answer {
    int32_t status;
    Value response;
};

// @return nothing in the response when there is no such route or the request is no JSON object; errors says which
Answer serve(const Routes &routes, const std::string &method, const std::string &path, const std::string &text)
{
    const ModemRoute *route = routes.find(method, path);
    if (route == nullptr) {
        fprintf(stderr, "modemapi: no route %s %s\n", method.c_str(), path.c_str());
        return {wrong_usage, nullptr};
    }
    const Value request{json_tokener_parse(text.empty() ? "{}" : text.c_str())};
    if (!json_object_is_type(request.get(), json_type_object)) {
        fprintf(stderr, "modemapi: the request is no JSON object: %s\n", text.c_str());
        return {wrong_usage, nullptr};
    }
    Value response{json_object_new_object()};
    const int32_t status = route->handler(request.get(), response.get());
    return {status, std::move(response)};
}

void print_usage()
{
    const auto descriptors = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}) - 1;
    printf("descriptors %td", descriptors);
#ifdef __GLIBC__
    const struct mallinfo2 memory = mallinfo2();
    printf(", bytes %zu", memory.uordblks + memory.hblkhd);
#endif
    printf("\n");
    fflush(stdout);
}

int serve_lines(const Routes &routes)
{
    int result = 0;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream fields{line};
        std::string method;
        std::string path;
        std::string request;
        fields >> method >> path >> std::ws;
        if (method.empty())
            continue;
        if (line == "usage") {
            print_usage();
            continue;
        }
        std::getline(fields, request);
        const Answer answer = serve(routes, method, path, request);
        if (answer.response == nullptr) {
            result = wrong_usage;
            continue;
        }
        printf("%d %s\n", answer.status, json_object_to_json_string_ext(answer.response.get(), JSON_C_TO_STRING_PLAIN));
        fflush(stdout);
    }
    return result;
}

int list_routes(const Routes &routes)
{
    for (const ModemRoute *route = routes.first; route != routes.first + routes.count; route++)
        printf("%s %s\n", route->method, route->path);
    return 0;
}

} // namespace

int main(int count, char **words)
{
    const std::vector<std::string> arguments(words + 1, words + count);
    if (arguments.size() > 3 || (arguments.size() == 1 && arguments[0] != "--list")) {
        fprintf(stderr, "usage: modemapi METHOD PATH [REQUEST]\n"
                        "       modemapi --list\n"
                        "       modemapi < lines of METHOD PATH [REQUEST]\n");
        return wrong_usage;
    }
    Routes routes;
    if (!load_routes(routes))
        return 1;
    if (arguments.empty())
        return serve_lines(routes);
    if (arguments.size() == 1)
        return list_routes(routes);
    const Answer answer = serve(routes, arguments[0], arguments[1], arguments.size() > 2 ? arguments[2] : "");
    if (answer.response == nullptr)
        return wrong_usage;
    printf("%d\n%s\n", answer.status, json_object_to_json_string_ext(answer.response.get(), JSON_C_TO_STRING_PRETTY));
    return 0;
}
