// orvix::Status: the result of every operation that can fail.
//
// Threads: a plain value; distinct objects may be used on distinct threads.
//
// One pointer wide. Success costs nothing; a failure owns one heap block with its code and text. Text is the message,
// or message, ": " and detail; more than 65,535 bytes of it are cut off.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace orvix {

// Moving allocates nothing, copying a failure does; toString() may throw std::bad_alloc.
class Status {
 public:
  // The numbers are the boundary's and never change. Codes without a word here are not used by this plug-in.
  enum eCode : unsigned {
    kOk = 0,
    // Success, with a remark in its text.
    kOkWithMessage = 1,
    kAborted = 2,
    kAccessDenied = 3,
    // What a modem, a line or a file did not do.
    kFailed = 4,
    // A host's mistake in what it gives: an unknown name, a value that cannot be.
    kInvalidArgument = 5,
    // A line that is not open.
    kInvalidHandle = 6,
    // Null where a document or a report must be.
    kInvalidPointer = 7,
    kNoInterface = 8,
    // An operation that is optional.
    kNotImplemented = 9,
    // Of this call: the device itself stays in use.
    kOutOfMemory = 10,
    kPendingOperation = 11,
    // A call in the wrong state.
    kUnexpected = 12,
    kForbidden = 13,
  };

  // Success.
  Status() noexcept = default;
  // Any outcome but kOk; a null or empty detail is left out. kOk or a null message is a programming error and aborts
  // the process in every build type. Throws std::bad_alloc when memory is out, as copying does.
  Status(eCode code, const char* pszMsg, const char* detail);

  // A copy owns a block of its own; what was moved from is success.
  Status(const Status& other);
  Status(Status&& other) noexcept = default;
  Status& operator=(const Status& other);
  Status& operator=(Status&& other) noexcept = default;
  ~Status() = default;

  // One pair for each code. The text is the message, then ": " and the detail; a detail that is null or empty is left
  // out, and the message must be there.
  // A std::string is taken up to its first zero byte, as the other form takes it. Each may throw std::bad_alloc.
  static Status okWithMessage(const char* message, const char* detail = nullptr) {
    return {kOkWithMessage, message, detail};
  }
  static Status okWithMessage(const std::string& message, const std::string& detail) {
    return {kOkWithMessage, message, detail};
  }
  static Status aborted(const char* message, const char* detail = nullptr) { return {kAborted, message, detail}; }
  static Status aborted(const std::string& message, const std::string& detail) { return {kAborted, message, detail}; }
  static Status accessDenied(const char* message, const char* detail = nullptr) {
    return {kAccessDenied, message, detail};
  }
  static Status accessDenied(const std::string& message, const std::string& detail) {
    return {kAccessDenied, message, detail};
  }
  static Status failed(const char* message, const char* detail = nullptr) { return {kFailed, message, detail}; }
  static Status failed(const std::string& message, const std::string& detail) { return {kFailed, message, detail}; }
  static Status invalidArgument(const char* message, const char* detail = nullptr) {
    return {kInvalidArgument, message, detail};
  }
  static Status invalidArgument(const std::string& message, const std::string& detail) {
    return {kInvalidArgument, message, detail};
  }
  static Status invalidHandle(const char* message, const char* detail = nullptr) {
    return {kInvalidHandle, message, detail};
  }
  static Status invalidHandle(const std::string& message, const std::string& detail) {
    return {kInvalidHandle, message, detail};
  }
  static Status invalidPointer(const char* message, const char* detail = nullptr) {
    return {kInvalidPointer, message, detail};
  }
  static Status invalidPointer(const std::string& message, const std::string& detail) {
    return {kInvalidPointer, message, detail};
  }
  static Status noInterface(const char* message, const char* detail = nullptr) {
    return {kNoInterface, message, detail};
  }
  static Status noInterface(const std::string& message, const std::string& detail) {
    return {kNoInterface, message, detail};
  }
  static Status notImplemented(const char* message, const char* detail = nullptr) {
    return {kNotImplemented, message, detail};
  }
  static Status notImplemented(const std::string& message, const std::string& detail) {
    return {kNotImplemented, message, detail};
  }
  static Status outOfMemory(const char* message, const char* detail = nullptr) {
    return {kOutOfMemory, message, detail};
  }
  static Status outOfMemory(const std::string& message, const std::string& detail) {
    return {kOutOfMemory, message, detail};
  }
  static Status pendingOperation(const char* message, const char* detail = nullptr) {
    return {kPendingOperation, message, detail};
  }
  static Status pendingOperation(const std::string& message, const std::string& detail) {
    return {kPendingOperation, message, detail};
  }
  static Status unexpected(const char* message, const char* detail = nullptr) { return {kUnexpected, message, detail}; }
  static Status unexpected(const std::string& message, const std::string& detail) {
    return {kUnexpected, message, detail};
  }
  static Status forbidden(const char* message, const char* detail = nullptr) { return {kForbidden, message, detail}; }
  static Status forbidden(const std::string& message, const std::string& detail) {
    return {kForbidden, message, detail};
  }

  // kOk for success; also a code outside the list, as another side of the boundary may have given it.
  eCode code() const noexcept;
  // True for kOk and kOkWithMessage.
  // A remark is no failure: whoever wants to show it asks code().
  bool isOk() const noexcept;
  explicit operator bool() const noexcept { return isOk(); }

  // "OK", or the code's prefix ("Failed: " and so on; "Unknown code(0x%x): " for a code outside the list) and the text.
  // The text is what it was made of and may hold a modem's bytes: to be escaped wherever it is shown.
  std::string toString() const;

 private:
  Status(eCode code, const std::string& message, const std::string& detail);
  // Lengths are in bytes; a detail of length 0 is left out, with its separator.
  void initState(eCode code, const char* msg, std::size_t msgLength, const char* detail, std::size_t detailLength);

  // Null for kOk, otherwise one block:
  //
  //   | 0-1 length, 16 bits, native order | 2 unused | 3 code | 4... `length` bytes of text, no terminating zero |
  std::unique_ptr<char[]> state;
};

}  // namespace orvix
