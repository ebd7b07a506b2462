#include "sms/spool.h"

#include <cstring>
#include <unistd.h>

#include "platform/board.h"
#include "platform/shell.h"
#include "sms/commands.h"

namespace {

constexpr char incoming[] = "/etc/spool/sms/incoming/";
constexpr char storage[] = "/etc/spool/sms/storage/";

bool remove_from(const char *folder, const char *name)
{
    Text<100> path;
    return path.out().assign_format("%s%s", folder, name) && unlink(path.c_str()) == 0;
}

} // namespace

int sms_remove(const char *name)
{
    if (*name == '\0' || strchr(name, '/') != nullptr)
        return -1;
    return remove_from(incoming, name) || remove_from(storage, name) ? 0 : -1;
}

int sms_remove_all(const ModemDriver &)
{
    if (!cmm_check_file_is_exist(incoming) || !cmm_check_file_is_exist(storage))
        return -1;
    execCommand(remove_incoming);
    execCommand(remove_stored);
    return 0;
}
