// Rows of the serial library, compared with the system calls that it must make.

#include "serial/xpl.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <ctime>

#include "bench/modem.h"
#include "device/gsmDevice.h"
#include "logging/logging.h"
#include "tests/world/host.h"

using bench::addRow;
using bench::kAnswer;
using bench::Modem;
using bench::require;

namespace {

const std::string kCommand = "AT+CSQ\r\n";  // the line feed is not sent

int openPort(const std::string& connectionString) {
  XplDcb dcb;
  XPLBuildDCB(connectionString.c_str(), &dcb, nullptr);
  return XPLOpen(&dcb, 128, 128, nullptr, nullptr);
}

// What a port does to a pseudo-terminal, call by call.
int openRaw(const world::PtyPair& line, termios* saved) {
  const int fd = open(line.path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  flock(fd, LOCK_EX | LOCK_NB);
  tcgetattr(fd, saved);
  termios raw{};
  raw.c_cflag = CREAD | CLOCAL | CS8;
  cfsetispeed(&raw, B115200);
  cfsetospeed(&raw, B115200);
  tcsetattr(fd, TCSANOW, &raw);
  int modemLines = 0;
  ioctl(fd, TIOCMGET, &modemLines);
  return fd;
}

void openCloseRaw(const world::PtyPair& line) {
  termios saved;
  const int fd = openRaw(line, &saved);
  require(fd != -1, "not opened");
  tcsetattr(fd, TCSANOW, &saved);
  flock(fd, LOCK_UN);
  close(fd);
}

void exchangeRaw(int fd) {
  char reply[128];
  const timespec wait{0, 100000000};
  tcflush(fd, TCIFLUSH);
  const ssize_t sent = write(fd, kCommand.data(), kCommand.size() - 1);
  nanosleep(&wait, nullptr);
  const ssize_t received = read(fd, reply, sizeof reply);
  require(sent == 7 && received == 32, "no answer");
  benchmark::DoNotOptimize(reply);
}

// The other end takes what was written and sends 32 bytes.
void receiveAndSend(world::PtyPair* line) {
  const bench::Pause pause;
  line->receive();
  line->send(kAnswer);
}

void addBursts(world::PtyPair* portLine, world::PtyPair* rawLine, int fd) {
  const int handle = openPort(portLine->connectionString());
  addRow(
      "write 32 bytes, read 32", {1.08, 0, 2},
      [=] {
        char bytes[32];
        require(XPLWrite(handle, kAnswer.data(), sizeof bytes) == sizeof bytes, "not written");
        receiveAndSend(portLine);
        require(XPLRead(handle, bytes, sizeof bytes) == sizeof bytes, "not read");
      },
      [=] {
        char bytes[32];
        require(write(fd, kAnswer.data(), sizeof bytes) == sizeof bytes, "not written");
        receiveAndSend(rawLine);
        require(read(fd, bytes, sizeof bytes) == sizeof bytes, "not read");
      });
  addRow(
      "read 32 bytes one by one", {0.12, 0, 1},
      [=] {
        receiveAndSend(portLine);
        for (const char sent : kAnswer) {
          char byte = 0;
          require(XPLRead(handle, &byte, 1) == 1 && byte == sent, "not read");
        }
      },
      [=] {
        receiveAndSend(rawLine);
        for (const char sent : kAnswer) {
          char byte = 0;
          require(read(fd, &byte, 1) == 1 && byte == sent, "not read");
        }
      });
}

}  // namespace

void bench::addSerialRows() {
  orvix::installDebugBridge();
  static Modem& modem = *new Modem(4);  // stays: the thread's clock, which it listens to, ends before the statics
  static orvix::gsm::GsmDevice device;
  termios saved;
  const int fd = openRaw(modem.lines[1], &saved);
  addBursts(&modem.lines[0], &modem.lines[1], fd);
  addRow(
      "open, configure, close a port", {1.4},
      [connection = modem.lines[2].connectionString()] {
        const int handle = openPort(connection);
        require(handle != 0, "not opened");
        XPLClose(handle);
      },
      [] { openCloseRaw(modem.lines[2]); });
  device.applyConfig(world::fromJson(world::configurationText(modem.lines[3].connectionString())));
  addRow(
      "one exchange, waits at zero", {1.5},
      [] {
        std::string reply;
        require(device.sendAtCommand(kCommand, "OK", 0, &reply).isOk(), "no answer");
        benchmark::DoNotOptimize(reply);
      },
      [=] { exchangeRaw(fd); });
}
