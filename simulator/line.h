// What carries the bytes between a simulated modem and its client. One thread at a time.
//
// Lines are made up. While a line is hung up no client can reach it, nothing arrives and what is sent is lost.
// Failures throw std::system_error; its what() names the step and the reason.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvix::simulator {

constexpr std::size_t kReadSize = 512;  // bytes that one receive brings at most

class Line {
 public:
  Line() = default;
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  virtual ~Line() = default;

  // What a client opens: a path, or ADDRESS:PORT. A path may change between hang-up and return.
  virtual std::string name() const = 0;

  // Readable, for poll, when receive has something to do; -1, which poll ignores, while hung up. Borrowed, and valid
  // until the next hang-up.
  virtual int descriptor() const = 0;

  // What clients wrote, some bytes at a time; empty when there is nothing. Never waits.
  virtual std::string receive() = 0;

  // Never waits; what does not fit is lost.
  virtual void send(std::string_view bytes) = 0;

  // Whether clients have read all that was sent, or never will because they are gone.
  virtual bool isDrained() const = 0;

  // Ends the connection and lets nobody in until reconnect.
  virtual void hangUp() = 0;
  virtual void reconnect() = 0;
};

}  // namespace orvix::simulator
