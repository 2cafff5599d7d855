// What the client commands show to a person. Pure functions; any thread.
//
// They take the JSON of the HTTP API and throw json::exception for a document that lacks a field of it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace orvix::gateway::client {

// A value of the service's JSON on one line: "-" for null, nothing in it that could steer a terminal.
std::string cell(const nlohmann::json& value);
// A time of the service in local time, "2026-03-01 09:30:05"; "-" for null.
std::string timeCell(const nlohmann::json& value);

// Columns as wide as their widest cell, two blanks apart.
std::string table(const std::vector<std::vector<std::string>>& rows);

// Each ends with a line feed.
std::string messagesView(const nlohmann::json& list);
std::string messageView(const nlohmann::json& message);
std::string statusView(const nlohmann::json& status);

}  // namespace orvix::gateway::client
