// A PulseAudio daemon of the test's own for the capture tests: its own socket and folders (HOME,
// XDG_RUNTIME_DIR and PULSE_SERVER point at them while it lives, and are put back after), a null sink "room"
// as the default output (the call), a null sink "mic" whose monitor is remapped as the default source "voice"
// (the microphone), a third null sink "headset" to switch to, and "both", which plays into room and mic at
// once. Sounds are made with espeak-ng and sox and played into a sink with paplay; every tool is waited for,
// never a clock. Should a test die without stopping it, the daemon exits by itself after 20 s alone.
#pragma once

#include "Platform/ProcessSpawning.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace Fakes {

inline std::optional<std::filesystem::path> onPath(const std::string& name) {
    const char* path = std::getenv("PATH");
    return Platform::findExecutable(name, path ? path : "");
}

/// Starts a program with its output in /dev/null; gives its process id (0 when it could not start).
inline pid_t spawnQuietly(const std::vector<std::string>& args) {
    std::vector<char*> argv;
    for (const auto& a : args) {
        argv.push_back(const_cast<char*>(a.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int fd : {1, 2}) {
        posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_WRONLY, 0);
    }
    pid_t pid = 0;
    bool spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    return spawned ? pid : 0;
}

/// Runs a program to its end; gives whether it succeeded.
inline bool runQuietly(const std::vector<std::string>& args) {
    pid_t pid = spawnQuietly(args);
    int status = 0;
    return pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class PrivatePulseServer {
public:
    /// Whether pulseaudio, pactl, paplay, espeak-ng and sox are all installed.
    static bool toolsInstalled() {
        for (const char* tool : {"pulseaudio", "pactl", "paplay", "espeak-ng", "sox"}) {
            if (!onPath(tool)) {
                return false;
            }
        }
        return true;
    }

    /// `withMicrophoneAndCall`: the sinks and sources above. `oneSinkOnly`: only "room", its monitor the
    /// default source, so that nothing but the test's own programs records (for counting recorders).
    enum class Layout { withMicrophoneAndCall, oneSinkOnly };

    explicit PrivatePulseServer(const std::filesystem::path& folder,
                                Layout layout = Layout::withMicrophoneAndCall)
        : folder_(folder) {
        for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "PULSE_SERVER"}) {
            const char* value = std::getenv(name);
            saved_[name] = value ? std::optional<std::string>(value) : std::nullopt;
        }
        auto socket = folder / "native";
        std::ofstream script(folder / "default.pa");
        script << "load-module module-native-protocol-unix auth-anonymous=1 socket=" << socket.string()
               << "\n"
               << "load-module module-null-sink sink_name=room rate=48000\n";
        if (layout == Layout::oneSinkOnly) {
            script << "set-default-source room.monitor\n";
        } else {
            script << "load-module module-null-sink sink_name=mic rate=48000\n"
                   << "load-module module-null-sink sink_name=headset rate=48000\n"
                   << "load-module module-remap-source master=mic.monitor source_name=voice\n"
                   << "load-module module-combine-sink sink_name=both slaves=room,mic\n"
                   << "set-default-sink room\n"
                   << "set-default-source voice\n";
        }
        script.close();
        for (const char* sub : {"home", "runtime", "config"}) {
            std::filesystem::create_directories(folder / sub);
        }
        ::setenv("HOME", (folder / "home").c_str(), 1);
        ::setenv("XDG_RUNTIME_DIR", (folder / "runtime").c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (folder / "config").c_str(), 1);
        ::setenv("PULSE_SERVER", ("unix:" + socket.string()).c_str(), 1);
        pid_ = spawnQuietly({"pulseaudio", "-n", "-F", (folder / "default.pa").string(), "--daemonize=no",
                             "--exit-idle-time=20", "--use-pid-file=no", "--disallow-exit=yes",
                             "--log-target=file:" + (folder / "pulse.log").string()});
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (pid_ && !accepts(socket) && std::chrono::steady_clock::now() < deadline) {
            ::usleep(20000); // waiting for the daemon to come up, not for time to pass
        }
        ready_ = pid_ && accepts(socket);
    }
    ~PrivatePulseServer() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            ::waitpid(pid_, nullptr, 0);
        }
        for (const auto& [name, value] : saved_) {
            value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
        }
    }
    bool ready() const { return ready_; }
    std::string log() const {
        std::ifstream in(folder_ / "pulse.log");
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    /// Speaks `text` into a WAV file (48 kHz mono); gives its path.
    std::filesystem::path speech(const std::string& name, const std::string& text) const {
        auto raw = folder_ / (name + ".raw.wav");
        auto file = folder_ / (name + ".wav");
        runQuietly({"espeak-ng", "-w", raw.string(), text});
        runQuietly({"sox", raw.string(), "-r", "48000", "-c", "1", file.string()});
        return file;
    }
    /// A 1 kHz beep of `seconds` with silence before it, as a WAV file.
    std::filesystem::path beep(const std::string& name, double seconds) const {
        auto file = folder_ / (name + ".wav");
        runQuietly({"sox", "-n", "-r", "48000", "-c", "1", "-b", "16", file.string(), "synth",
                    std::to_string(seconds), "sine", "1000", "vol", "0.5", "pad", "0.3", "0"});
        return file;
    }
    /// Plays a file into a sink and waits until it has been played.
    static bool play(const std::filesystem::path& file, const std::string& sink) {
        return runQuietly({"paplay", "--device=" + sink, file.string()});
    }
    static bool pactl(const std::vector<std::string>& arguments) {
        std::vector<std::string> args{"pactl"};
        args.insert(args.end(), arguments.begin(), arguments.end());
        return runQuietly(args);
    }

private:
    static bool accepts(const std::filesystem::path& socketPath) {
        int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "%s", socketPath.c_str());
        bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        ::close(fd);
        return ok;
    }

    std::filesystem::path folder_;
    std::map<std::string, std::optional<std::string>> saved_;
    pid_t pid_ = 0;
    bool ready_ = false;
};

} // namespace Fakes
