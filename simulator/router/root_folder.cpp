#include "simulator/router/root_folder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/mount.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "platform/files.h"
#include "simulator/router/mounts.h"

namespace simulator {

namespace {

namespace fs = std::filesystem;

/// A file system in memory is mounted here while the root is built: the router has its own /sys in any case.
const fs::path stage = "/sys";
/// Whatever runs in the router, the machine loses at most 256 MB of memory: 128 MB here, 64 MB in /etc/config at its
/// largest
/// (--config-size), and about 1 kB of the kernel's memory for each file.
constexpr const char *stage_options = "mode=755,size=128m,nr_inodes=60000";
const fs::path config = "/etc/config";

constexpr const char *own_folders[] = {"/dev", "/proc", "/run", "/sys", "/tmp", "/var"};
constexpr const char *devices[] = {"null", "zero", "full", "random", "urandom", "tty"};
constexpr uintmax_t copied_file_bytes = 65536;

bool is_own(const fs::path &path)
{
    return std::ranges::any_of(own_folders, [&](const char *folder) { return is_inside(path.native(), folder); });
}

std::string read_text(const char *path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

class RootBuilder {
  public:
    RootBuilder(const RootPlan &plan, Rights rights) : plan_(plan), rights_(rights) {}
    void build();

  private:
    /// Content for path must be written into folder, before the mounts are made.
    struct Layer {
        fs::path path;
        fs::path folder;
    };

    void make_stage();
    void add_config_layer();
    void mirror(const fs::path &path);
    void mirror_entries(const fs::path &path);
    void mirror_file(const fs::path &path);
    void place(const RouterFile &file);
    fs::path place_of(const fs::path &path) const;
    bool has_layer(const fs::path &path) const;
    void mount_layer(const Layer &layer);
    void make_devices();
    void make_terminals();
    void mount_proc();
    fs::path inside(const fs::path &path) const { return root_ / path.relative_path(); }

    const RootPlan &plan_;
    const Rights rights_;
    const fs::path root_ = stage / "root";
    std::vector<std::string> mount_points_;
    std::vector<Layer> layers_;
};

void RootBuilder::build()
{
    mount_points_ = parse_mount_points(read_text("/proc/self/mountinfo"));
    make_stage();
    mirror_entries("/");
    for (const std::string &folder : plan_.kept)
        if (is_own(folder) && !has_layer(folder))
            mirror(folder);
    add_config_layer();
    for (const RouterFile &file : plan_.files)
        place(file);
    for (const Layer &layer : layers_)
        mount_layer(layer);
    make_devices();
    mount_proc();
    enter_root(root_);
}

void RootBuilder::make_stage()
{
    // The first two mounts are where a machine that forbids user namespaces by other means says so.
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", stage.c_str(), "tmpfs", MS_NOATIME, stage_options) != 0)
        throw NotAllowed(std::string("mount: ") + strerror(errno));
    fs::create_directory(root_);
    mount_bind(root_, root_);
    for (const char *folder : own_folders)
        fs::create_directory(inside(folder));
    fs::permissions(inside("/tmp"), fs::perms(01777));
    for (const char *folder : {"/run/lock", "/var/lib", "/var/log", "/var/spool"})
        fs::create_directory(inside(folder));
    fs::create_symlink("../run", inside("/var/run"));
    fs::create_symlink("../run/lock", inside("/var/lock"));
}

/// A separate mount, so that it can be small, and so that the machine's own configuration is not visible.
void RootBuilder::add_config_layer()
{
    const fs::path folder = stage / "config";
    fs::create_directory(folder);
    if (plan_.config_bytes > 0)
        mount_new("tmpfs", folder, 0, "mode=755,nr_inodes=4000,size=" + std::to_string(plan_.config_bytes));
    layers_.push_back({config, folder});
}

/// A folder without mounts below it becomes one overlay; of another one each entry is taken for itself (an ordinary
/// user may not uncover what lies under a mount, so that an overlay of the whole would be refused).
void RootBuilder::mirror(const fs::path &path)
{
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return;
    const fs::path target = inside(path);
    fs::create_directories(target);
    const bool has_mounts = std::ranges::any_of(
        mount_points_, [&](const std::string &point) { return point != path && is_inside(point, path.native()); });
    fs::path own = target;
    if (!has_mounts) {
        own = stage / "layers" / std::to_string(layers_.size());
        layers_.push_back({path, own / "upper"});
        fs::create_directories(own / "work");
        own /= "upper";
        fs::create_directory(own);
    }
    chmod(own.c_str(), status.st_mode & 07777);
    if (rights_ == Rights::root && chown(own.c_str(), status.st_uid, status.st_gid) != 0)
        throw std::system_error(errno, std::generic_category(), own);
    if (has_mounts)
        mirror_entries(path);
}

void RootBuilder::mirror_entries(const fs::path &path)
{
    std::error_code unreadable; // then it counts as an empty folder
    for (const auto &entry : fs::directory_iterator(path, unreadable)) {
        if (is_own(entry.path()))
            continue;
        std::error_code unknown;
        const fs::file_type type = entry.symlink_status(unknown).type();
        if (type == fs::file_type::directory)
            mirror(entry.path());
        else if (type == fs::file_type::symlink)
            fs::copy_symlink(entry.path(), inside(entry.path()), unknown);
        else if (type == fs::file_type::regular)
            mirror_file(entry.path());
    }
}

void RootBuilder::mirror_file(const fs::path &path)
{
    const fs::path target = inside(path);
    std::error_code failure;
    if (fs::file_size(path, failure) <= copied_file_bytes && fs::copy_file(path, target, failure))
        return;
    std::ofstream(target).close();
    if (access(path.c_str(), R_OK) == 0)
        mount_read_only(path, target);
}

fs::path RootBuilder::place_of(const fs::path &path) const
{
    fs::path parent = path.parent_path().lexically_normal();
    if (!is_own(parent))
        parent = fs::weakly_canonical(parent); // the machine's /var/run is a link to /run, its /sbin one to /usr/sbin
    const Layer *best = nullptr;
    for (const Layer &layer : layers_)
        if (is_inside(parent.native(), layer.path.native()) &&
            (best == nullptr || layer.path.native().size() > best->path.native().size()))
            best = &layer;
    const fs::path folder = best == nullptr ? inside(parent) : best->folder / parent.lexically_relative(best->path);
    return folder.lexically_normal() / path.filename();
}

void RootBuilder::place(const RouterFile &file)
{
    const fs::path path = place_of(file.path);
    fs::create_directories(path.parent_path());
    if (file.kind == RouterFile::Kind::folder) {
        fs::create_directories(path);
    } else if (file.kind == RouterFile::Kind::link) {
        fs::remove(path);
        fs::create_symlink(file.content, path);
        return;
    } else {
        fs::remove(path); // a link among the router's own files may lead out of it
        std::ofstream out(path, std::ios::binary);
        out << file.content;
        if (!out.flush())
            throw std::system_error(errno, std::generic_category(), "writing " + file.path);
    }
    chmod(path.c_str(), file.mode);
}

bool RootBuilder::has_layer(const fs::path &path) const
{
    return std::ranges::any_of(layers_,
                               [&](const Layer &layer) { return is_inside(path.native(), layer.path.native()); });
}

void RootBuilder::mount_layer(const Layer &layer)
{
    const std::string target = inside(layer.path);
    if (layer.path == config) {
        fs::create_directories(target);
        mount_bind(layer.folder, target);
        return;
    }
    // Root in a virtual machine has the rights of the user who started it: what that user may not read is empty.
    if (plan_.kernel_devices && !Fd(open(layer.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)))
        return;
    // By descriptor, since overlay options know colons and commas in paths as separators.
    const Fd lower(open(layer.path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const std::string options =
        "lowerdir=/proc/self/fd/" + std::to_string(lower.get()) + ",upperdir=" + layer.folder.native() +
        ",workdir=" + (layer.folder.parent_path() / "work").native() + (rights_ == Rights::root ? "" : ",userxattr");
    if (lower && mount("overlay", target.c_str(), "overlay", 0, options.c_str()) == 0)
        return;
    // A file system that cannot lie below an overlay is shown as it is, for reading.
    if (!fs::is_empty(layer.folder))
        throw std::system_error(errno, std::generic_category(), "overlay on " + layer.path.native());
    if (lower)
        mount_read_only(layer.path, target);
}

void RootBuilder::make_devices()
{
    const fs::path dev = inside("/dev");
    if (plan_.kernel_devices) {
        mount_new("sysfs", inside("/sys"), 0, "");
        mount_new("devtmpfs", dev, 0, "");
        return make_terminals();
    }
    for (const char *name : devices) {
        const fs::path target = inside("/dev") / name;
        std::ofstream(target).close();
        mount_bind(fs::path("/dev") / name, target);
    }
    if (access("/dev/net/tun", R_OK | W_OK) == 0) {
        fs::create_directory(dev / "net");
        std::ofstream(dev / "net/tun").close();
        mount_bind("/dev/net/tun", dev / "net/tun");
    }
    make_terminals();
}

void RootBuilder::make_terminals()
{
    const fs::path dev = inside("/dev");
    fs::create_directory(dev / "pts");
    mount_new("devpts", dev / "pts", MS_NOSUID | MS_NOEXEC, "newinstance,ptmxmode=0666,mode=0620");
    if (!plan_.kernel_devices)
        fs::create_symlink("pts/ptmx", dev / "ptmx");
    fs::create_directory(dev / "shm");
    fs::permissions(dev / "shm", fs::perms(01777));
    fs::create_symlink("/proc/self/fd", dev / "fd");
    fs::create_symlink("/proc/self/fd/0", dev / "stdin");
    fs::create_symlink("/proc/self/fd/1", dev / "stdout");
    fs::create_symlink("/proc/self/fd/2", dev / "stderr");
}

void RootBuilder::mount_proc()
{
    const fs::path proc = inside("/proc");
    if (mount("proc", proc.c_str(), "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0)
        throw NotAllowed(std::string("mounting /proc: ") + strerror(errno));
    if (rights_ != Rights::root)
        return;
    // The machine's kernel settings; those of the network belong to the namespace.
    if (fs::exists(proc / "sysrq-trigger"))
        mount_read_only(proc / "sysrq-trigger", proc / "sysrq-trigger");
    mount_read_only(proc / "sys", proc / "sys");
    mount_bind(proc / "sys/net", proc / "sys/net");
    if (mount(nullptr, (proc / "sys/net").c_str(), nullptr, MS_BIND | MS_REMOUNT, nullptr) != 0)
        throw std::system_error(errno, std::generic_category(), "/proc/sys/net");
}

} // namespace

void enter_router_root(const RootPlan &plan, Rights rights)
{
    umask(022);
    RootBuilder(plan, rights).build();
}

} // namespace simulator
