// The built gateway as a process, a client of its socket, and what /proc tells of it. What fails or takes more than two
// minutes throws std::runtime_error. One thread.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

constexpr char kNumber[] = "+491701234567";
constexpr char kText[] = "pump 3: pressure below 2.5 bar";

double nowMs();  // monotonic
void require(bool condition, const std::string& what);
// Looks again after that many ms.
void waitUntil(const std::function<bool()>& condition, const std::string& what, int everyMs = 20);
// An id that no message has yet.
std::string nextId();

// A number behind a key in /proc/PID/FILE.
double procField(pid_t process, const std::string& file, const std::string& key);
// What a process has used of the processor so far, and how often it waited for something, all threads together.
double cpuMs(pid_t process);
double wakeUps(pid_t process);

// Ends with this object, by SIGTERM. Its output and its errors go after what is in the file.
class Process {
 public:
  Process(const std::vector<std::string>& command, const std::filesystem::path& output);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  const pid_t id;
};

// A connection that is kept.
class Client {
 public:
  explicit Client(const std::string& socketPath);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Head and body of the answer.
  std::string get(const std::string& target) const;
  // Hands a message over; its acceptance is awaited by the second call.
  void post(const std::string& id) const;
  void awaitAcceptance() const;

  const int descriptor;
  const bool isOpen;  // somebody listens at the socket
};

// The service with one modem, on a line that need not exist.
struct Setting {
  std::string line;
  int reportSeconds = 60;
  int brokerPort = 0;       // 0: no broker
  bool isDiskSlow = false;  // see slowSync.cpp
};

class Service {
 public:
  // Keeps its files in a folder of that name.
  Service(const std::filesystem::path& serviceFolder, const Setting& setting);

  std::string socketPath() const { return folder / "sock"; }
  pid_t supervisor() const { return process.id; }
  pid_t worker() const;  // 0: none
  double bytesWritten() const;
  // How often it has the disk write while the work is done, found by strace(1).
  int syncsOf(const std::function<void()>& work) const;

 private:
  const std::filesystem::path folder;
  const Process process;
};

}  // namespace bench
