// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/context.hpp"

#include <fmt/core.h>

#include <cstdio>
#include <system_error>

namespace kvrnctl {
namespace {

void complain(std::string_view text) { fmt::print(stderr, "kvrnctl: {}\n", text); }

}  // namespace

void Context::warn(std::string_view text) const { complain(text); }

void Context::note(std::string_view text) const {
  if (verbosity > 0) complain(text);
}

void Result::fail(Exit status, std::string error) {
  if (exit == Exit::ok) exit = status;
  errors.push_back(std::move(error));
}

int deliver(const Context& context, const Result& result) {
  if (context.json) {
    json document{{"schema_version", schema_version}};
    document.update(result.data);
    document["errors"] = result.errors;
    // Names come from flash and files: bytes that are no UTF-8 must not cost the whole document.
    fmt::print("{}\n", document.dump(2, ' ', false, json::error_handler_t::replace));
  } else {
    fmt::print("{}", result.text);
  }
  for (const std::string& error : result.errors) context.warn(error);
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    complain(fmt::format("cannot write the result: {}", errno_text(errno)));
    return static_cast<int>(Exit::failed);
  }
  return static_cast<int>(result.exit);
}

std::string errno_text(int error) { return std::generic_category().message(error); }

}  // namespace kvrnctl
