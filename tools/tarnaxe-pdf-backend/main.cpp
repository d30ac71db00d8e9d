// The CUPS backend "tarnaxe-pdf" of the office's PDF queue. The queue's PPD has CUPS turn
// every job into a PDF; this backend writes it into the session folder that the job's user's
// agent has recorded in its registry file (PDFFileName, "<session>/File%.xdf"), as
// "File<job>.xdf", where the agent's poll takes it in.
//
// CUPS runs a backend of mode 0700 as root. This one uses root only to become the job's
// user before it reads or writes anything of theirs: it can then write nothing the user
// could not. It still refuses a redirection outside the user's home or not of the form
// ".../FerroClient/IEUser<n>/File%.xdf", a folder that is not the user's, and it writes under
// a hidden name that it renames only once the whole document is on disk.
//
//     tarnaxe-pdf                                   the device line, for discovery
//     tarnaxe-pdf job user title copies options [file]
//
// The device URI may name the home folder to use instead of the user's own
// ("tarnaxe-pdf:/?home=/srv/homes/clerk"); only the administrator sets device URIs.

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <optional>
#include <pwd.h>
#include <regex>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The exit codes of cups/backend.h.
constexpr int kBackendOk = 0;
constexpr int kBackendFailed = 1;
constexpr int kBackendCancel = 5;

const char* const kSection = "[hkey_current_user\\software\\dane prairie systems\\win2pdf]";
const char* const kValueName = "pdffilename";

int fail(int code, const std::string& message)
{
    std::fprintf(stderr, "ERROR: %s\n", message.c_str());
    return code;
}

std::string lower(std::string text)
{
    for (char& c : text)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string trim(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// The home folder that the device URI names, if any.
std::optional<std::string> homeFromDeviceUri()
{
    const char* uri = std::getenv("DEVICE_URI");
    if (!uri)
        return std::nullopt;
    const std::string text = uri;
    const auto at = text.find("?home=");
    if (at == std::string::npos)
        return std::nullopt;
    return text.substr(at + 6);
}

// PDFFileName of the user's registry file, as the agent wrote it ("sz:" + the path).
std::optional<std::string> redirection(const std::string& home)
{
    std::ifstream registry(home + "/.config/TarnAxe/registry.ini");
    bool inSection = false;
    for (std::string line; std::getline(registry, line);) {
        line = trim(line);
        if (!line.empty() && line.front() == '[') {
            inSection = lower(line) == kSection;
            continue;
        }
        const auto equals = line.find('=');
        if (!inSection || equals == std::string::npos ||
            lower(trim(line.substr(0, equals))) != kValueName)
            continue;
        std::string value = trim(line.substr(equals + 1));
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
            value = value.substr(1, value.size() - 2);
        if (value.rfind("sz:", 0) != 0)
            return std::nullopt;
        return value.substr(3);
    }
    return std::nullopt;
}

bool becomeUser(const passwd& user)
{
    if (geteuid() != 0)
        return getuid() == user.pw_uid;
    return initgroups(user.pw_name, user.pw_gid) == 0 && setgid(user.pw_gid) == 0 &&
           setuid(user.pw_uid) == 0 && getuid() == user.pw_uid && geteuid() == user.pw_uid;
}

bool copyAll(int from, int to)
{
    char buffer[65536];
    for (;;) {
        const ssize_t got = read(from, buffer, sizeof buffer);
        if (got == 0)
            return true;
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        for (ssize_t done = 0; done < got;) {
            const ssize_t put = write(to, buffer + done, size_t(got - done));
            if (put < 0 && errno != EINTR)
                return false;
            done += put > 0 ? put : 0;
        }
    }
}

// Writes the document under a hidden name, then links it to the first free
// "File<job>[-n].xdf": never a partial file under a name the agent looks for, never an
// existing file replaced.
int deliver(int input, int folder, const std::string& job)
{
    const std::string hidden = ".tarnaxe-print-" + job + "-" + std::to_string(getpid()) + ".part";
    const int out =
        openat(folder, hidden.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (out < 0)
        return fail(kBackendCancel,
                    "cannot write into the session folder: " + std::string(std::strerror(errno)));
    const bool written = copyAll(input, out) && fsync(out) == 0;
    const bool closed = close(out) == 0;
    if (!written || !closed) {
        unlinkat(folder, hidden.c_str(), 0);
        return fail(kBackendCancel, "the document could not be written whole: " +
                                        std::string(std::strerror(errno)));
    }
    for (int n = 1; n < 1000; ++n) {
        const std::string name = "File" + job + (n == 1 ? "" : "-" + std::to_string(n)) + ".xdf";
        if (linkat(folder, hidden.c_str(), folder, name.c_str(), 0) == 0) {
            unlinkat(folder, hidden.c_str(), 0);
            std::fprintf(stderr, "INFO: printed into the session folder as %s\n", name.c_str());
            return kBackendOk;
        }
        if (errno != EEXIST)
            break;
    }
    unlinkat(folder, hidden.c_str(), 0);
    return fail(kBackendCancel, "no free name in the session folder");
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc == 1) {
        std::puts("direct tarnaxe-pdf \"TarnAxe\" \"TarnAxe PDF capture\"");
        return kBackendOk;
    }
    if (argc < 6 || argc > 7) {
        std::fprintf(stderr, "Usage: %s job-id user title copies options [file]\n", argv[0]);
        return kBackendFailed;
    }
    const std::string job = std::to_string(std::atol(argv[1]));
    // The spool file is CUPS's: it is opened before the user's rights replace root's.
    const int input = argc == 7 ? open(argv[6], O_RDONLY | O_CLOEXEC) : STDIN_FILENO;
    if (input < 0)
        return fail(kBackendFailed, "cannot read the job: " + std::string(std::strerror(errno)));
    const passwd* entry = getpwnam(argv[2]);
    if (!entry)
        return fail(kBackendCancel, std::string("unknown user ") + argv[2]);
    const passwd user = *entry;
    const std::string home = homeFromDeviceUri().value_or(user.pw_dir);
    if (!becomeUser(user))
        return fail(kBackendFailed, "cannot act as " + std::string(user.pw_name) +
                                        ": install the backend as root with mode 0700");

    const std::optional<std::string> target = redirection(home);
    if (!target)
        return fail(kBackendCancel, "no TarnAxe agent is capturing printed documents for " +
                                        std::string(user.pw_name) + " now");
    static const std::regex form("(/.+/FerroClient/IEUser[0-9]+)/File%\\.xdf");
    std::smatch match;
    char resolvedHome[PATH_MAX];
    char resolvedFolder[PATH_MAX];
    if (!std::regex_match(*target, match, form) || !realpath(home.c_str(), resolvedHome) ||
        !realpath(match[1].str().c_str(), resolvedFolder))
        return fail(kBackendCancel, "the recorded session folder is not usable: " + *target);
    const std::string folderPath = resolvedFolder;
    // Resolved, the folder must still be a session folder inside the user's home.
    if (folderPath.rfind(std::string(resolvedHome) + "/", 0) != 0 ||
        !std::regex_match(folderPath + "/File%.xdf", form))
        return fail(kBackendCancel,
                    "the recorded session folder is outside the user's home: " + *target);
    const int folder = open(resolvedFolder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    struct stat info {};
    if (folder < 0 || fstat(folder, &info) != 0 || info.st_uid != user.pw_uid)
        return fail(kBackendCancel,
                    "the session folder is not " + std::string(user.pw_name) + "'s: " + folderPath);
    return deliver(input, folder, job);
}
