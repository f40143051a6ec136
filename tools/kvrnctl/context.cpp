// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/context.hpp"

#include <fmt/core.h>

#include <cstdio>
#include <cstring>

namespace kvrnctl {
namespace {

// Not fmt::print, which throws when standard error is closed. In that case the text is dropped.
void complain(std::string_view text) { (void)std::fputs(fmt::format("kvrnctl: {}\n", text).c_str(), stderr); }

}  // namespace

void Context::warn(std::string_view text) const { complain(text); }

void Context::note(std::string_view text) const {
  if (verbosity > 0) complain(text);
}

void Result::fail(Exit status, std::string error) {
  if (exit == Exit::ok) exit = status;
  errors.push_back(std::move(error));
}

void Result::fail_for(const std::vector<std::string>& unread) {
  for (const std::string& error : unread) fail(Exit::failed, error);
}

bool flush_output() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
  complain(fmt::format("cannot write the result: {}", errno_text(errno)));
  return false;
}

std::string output_text(const Context& context, const Result& result, int indentation) {
  if (!context.json) return result.text;
  json document{{"schema_version", schema_version}};
  document.update(result.data);
  document["errors"] = result.errors;
  // Names come from flash and files. Bytes that are not UTF-8 are replaced, so that the rest is still printed.
  return document.dump(indentation, ' ', false, json::error_handler_t::replace) + '\n';
}

int deliver(const Context& context, const Result& result) {
  if (!result.printed) (void)std::fputs(output_text(context, result).c_str(), stdout);
  const bool written = result.printed || flush_output();
  for (const std::string& error : result.errors) context.warn(error);
  return written ? static_cast<int>(result.exit) : static_cast<int>(Exit::failed);
}

std::string errno_text(int error) { return std::strerror(error); }

}  // namespace kvrnctl
