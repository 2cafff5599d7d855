// A pseudo-terminal: the test holds the master, the product opens the slave by its path. One thread.
#pragma once

#include <string>

namespace world {

class PtyPair {
 public:
  PtyPair();
  ~PtyPair();
  PtyPair(const PtyPair&) = delete;
  PtyPair& operator=(const PtyPair&) = delete;

  const std::string& path() const { return slavePath; }
  int masterFd() const { return master; }
  // Path and settings, as a configuration names the line.
  std::string connectionString() const { return slavePath + ":115200,n,8,1"; }
  // Writes towards the slave and waits, with a bound, until the slave can read it all, or all that a line holds.
  void send(const std::string& bytes);
  // What the slave's side has written since the last call.
  std::string receive();
  // Closes the master: the slave's reads and writes fail from now on.
  void hangUp();

 private:
  int master = -1;
  int slave = -1;  // kept open so that the line survives its users
  std::string slavePath;
};

}  // namespace world
