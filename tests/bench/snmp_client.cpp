// SPDX-License-Identifier: MIT
// snmp_client walk ADDRESS WALKS: bulk walks of the tree as snmpbulkwalk makes them, without its start; prints the
// objects of a walk and the seconds of the fastest.
//
// snmp_client ADDRESS LISTING REQUESTS CLIENTS: walks, bulk walks and random GETNEXT from many clients at once, each
// answer compared with a listing of `kvrnctl snmp dump`. A tree that is not there (a master that was restarted) and a
// timeout are counted; a wrong answer ends the run. Prints the number of requests at every 1,000th.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using Oid = std::vector<oid>;

const Oid root{1, 3, 6, 1, 4, 1, 47474};
std::map<Oid, std::string> expected;  // the lines that a walk prints
std::atomic<long> requests = 0;
std::atomic<long> absent = 0;
std::atomic<long> timeouts = 0;
long wanted = 0;

bool in_tree(const Oid& name) {
  return name.size() >= root.size() && std::equal(root.begin(), root.end(), name.begin());
}

Oid parse_oid(const std::string& text) {
  Oid name;
  for (const char* at = text.c_str(); *at == '.';) {
    char* end = nullptr;
    name.push_back(std::strtoul(at + 1, &end, 10));
    at = end;
  }
  return name;
}

std::string text_of(const netsnmp_variable_list& variable) {
  std::array<char, 1024> text{};
  (void)::snprint_variable(text.data(), text.size(), variable.name, variable.name_length, &variable);
  return text.data();
}

[[noreturn]] void wrong(const Oid& asked, const netsnmp_variable_list& answer) {
  std::string name;
  for (const oid arc : asked) name += '.' + std::to_string(arc);
  std::fprintf(stderr, "wrong answer to %s: %s\n", name.c_str(), text_of(answer).c_str());
  std::_Exit(1);
}

class Client {
 public:
  Client(const char* address, unsigned seed) : random_(seed) {
    netsnmp_session session;
    ::snmp_sess_init(&session);
    session.version = SNMP_VERSION_2c;
    session.peername = const_cast<char*>(address);
    session.community = reinterpret_cast<u_char*>(const_cast<char*>("kvrn"));
    session.community_len = 4;
    session.retries = 0;
    session.timeout = 500'000;
    handle_ = ::snmp_sess_open(&session);
    if (handle_ == nullptr) std::_Exit(2);
  }
  ~Client() { ::snmp_sess_close(handle_); }
  Client(const Client&) = delete;

  // @return objects
  long bulk_walk() {
    long objects = 0;
    for (Oid at = root; in_tree(at);) {
      netsnmp_pdu* response = send(SNMP_MSG_GETBULK, at);
      if (response == nullptr) std::_Exit(1);
      for (const auto* answer = response->variables; answer != nullptr; answer = answer->next_variable) {
        at.assign(answer->name, answer->name + answer->name_length);
        // An agent that has nothing behind the tree repeats the last name.
        if (answer->type == SNMP_ENDOFMIBVIEW) at.clear();
        if (in_tree(at)) ++objects;
      }
      ::snmp_free_pdu(response);
    }
    return objects;
  }

  void run() {
    while (requests < wanted) {
      walk(SNMP_MSG_GETNEXT);
      walk(SNMP_MSG_GETBULK);
      for (int i = 0; i < 40 && requests < wanted; ++i) (void)ask(SNMP_MSG_GETNEXT, random_oid());
      for (int i = 0; i < 20 && requests < wanted; ++i) (void)ask(SNMP_MSG_GET, random_object());
    }
  }

 private:
  void walk(int kind) {
    for (Oid at = root; requests < wanted && in_tree(at);) at = ask(kind, at);
  }

  // @return null without an answer
  netsnmp_pdu* send(int kind, const Oid& name) {
    netsnmp_pdu* pdu = ::snmp_pdu_create(kind);
    if (kind == SNMP_MSG_GETBULK) {
      pdu->non_repeaters = 0;
      pdu->max_repetitions = 10;  // snmpbulkwalk's
    }
    ::snmp_add_null_var(pdu, name.data(), name.size());
    netsnmp_pdu* response = nullptr;
    return ::snmp_sess_synch_response(handle_, pdu, &response) == STAT_SUCCESS ? response : nullptr;
  }

  // Asks, compares, and returns the last name of the answer; empty when there was none.
  Oid ask(int kind, const Oid& name) {
    netsnmp_pdu* response = send(kind, name);
    if (const long count = ++requests; count % 1000 == 0) {
      std::printf("%ld\n", count);
      (void)std::fflush(stdout);
    }
    Oid last;
    if (response == nullptr) {
      ++timeouts;
      pause();
    } else {
      last = compare(kind, name, response->variables);
    }
    ::snmp_free_pdu(response);
    return last;
  }

  Oid compare(int kind, const Oid& asked, const netsnmp_variable_list* answer) {
    auto next = kind == SNMP_MSG_GET ? expected.lower_bound(asked) : expected.upper_bound(asked);
    Oid last;
    for (; answer != nullptr; answer = answer->next_variable, ++next) {
      last.assign(answer->name, answer->name + answer->name_length);
      const bool there = in_tree(last) && answer->type != SNMP_NOSUCHOBJECT && answer->type != SNMP_NOSUCHINSTANCE &&
                         answer->type != SNMP_ENDOFMIBVIEW;
      if (next == expected.end()) {
        if (there) wrong(asked, *answer);
        return {};
      }
      if (!there) {
        if (answer->type == SNMP_NOSUCHINSTANCE) wrong(asked, *answer);  // the agent itself says that it has none
        ++absent;
        pause();
        return {};
      }
      if (next->first != last || next->second != text_of(*answer)) wrong(asked, *answer);
    }
    return last;
  }

  // The agent comes back within a second or two; asking for it without a rest would use up the requests.
  static void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(100)); }

  std::size_t up_to(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit)(random_); }

  Oid random_object() { return std::next(expected.begin(), static_cast<long>(up_to(expected.size() - 1)))->first; }

  // Names of objects with arcs cut, changed and added, and names of elsewhere: short, long, with extreme arcs.
  Oid random_oid() {
    constexpr std::array<oid, 6> arcs{0, 1, 5, 127, 128, 4294967295};
    Oid name = random_object();
    const std::size_t choice = up_to(5);
    if (choice == 0) name = {1, 3, 6, 1, 4, 1, 47473 + 2 * up_to(1)};
    if (choice == 1) name = {1, 3};
    if (choice == 2) name.resize(root.size() + up_to(name.size() - root.size()));
    if (choice == 3) name[root.size() + up_to(name.size() - root.size() - 1)] = arcs[up_to(arcs.size() - 1)];
    if (choice >= 4)
      while (name.size() < MAX_OID_LEN && up_to(choice == 4 ? 3 : 60) != 0)
        name.push_back(arcs[up_to(arcs.size() - 1)]);
    return name;
  }

  void* handle_;
  std::mt19937 random_;
};

void time_walks(const char* address, long walks) {
  using Clock = std::chrono::steady_clock;
  Client client(address, 1);
  std::chrono::duration<double> fastest = std::chrono::hours(1);
  long objects = 0;
  for (long i = 0; i < walks; ++i) {
    const auto start = Clock::now();
    objects = client.bulk_walk();
    fastest = std::min<std::chrono::duration<double>>(fastest, Clock::now() - start);
  }
  std::printf("%ld %.9f\n", objects, fastest.count());
}

void set_up() {
  (void)::setenv("MIBS", "", 1);
  ::snmp_disable_log();
  (void)::netsnmp_register_loghandler(NETSNMP_LOGHANDLER_NONE, LOG_DEBUG);
  (void)::netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
  (void)::netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
  (void)::netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT, NETSNMP_OID_OUTPUT_NUMERIC);
  ::init_snmp("snmp_client");
}

}  // namespace

int main(int argc, char** argv) {
  set_up();
  if (argc == 4) {
    time_walks(argv[2], std::strtol(argv[3], nullptr, 10));
    return 0;
  }
  if (argc != 5) return 2;
  std::ifstream listing(argv[2]);
  for (std::string line; std::getline(listing, line);) expected[parse_oid(line)] = line;
  if (expected.empty()) return 2;
  wanted = std::strtol(argv[3], nullptr, 10);
  const long clients = std::strtol(argv[4], nullptr, 10);
  std::vector<std::thread> threads;
  for (unsigned seed = 1; seed <= clients; ++seed) threads.emplace_back([=] { Client(argv[1], seed).run(); });
  for (std::thread& thread : threads) thread.join();
  std::printf("requests %ld, tree absent %ld, timeouts %ld\n", requests.load(), absent.load(), timeouts.load());
  return 0;
}
