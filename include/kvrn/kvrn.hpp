/* SPDX-License-Identifier: MIT */
/**
 * @file kvrn.hpp  The interface for C++17 and newer: owners, ranges, and optional values in place of markers.
 *
 * Each class holds one C object, and get() returns it. Functions without a class here are called by their C names.
 * Nothing throws: the header works with -fno-exceptions and needs nothing of the C++ run time. For files, threads and
 * costs see the headers of the C functions.
 *
 * Units are in the names: mv, ma, mw, uw, mah, s, c (degrees Celsius), pct. An empty optional means unknown: the
 * reading failed, or there is nothing to read.
 *
 * The namespace is not `kvrn`, because the internal code of the library uses that name (Sources, Battery, ...), and the
 * programs of this repository see both. Two classes with the same name in one program are undefined behaviour, which no
 * linker reports.
 */
#ifndef KVRN_KVRN_HPP
#define KVRN_KVRN_HPP

#include <kvrn/kvrn.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace kvrnpp {

/* ---- Owners ---- */

/** The owner of a C object that `Free` releases: `Owned<cfg_entry, free_cfg_it>`. */
template <auto Free>
struct Release {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};
template <typename T, auto Free>
using Owned = std::unique_ptr<T, Release<Free>>;

/** Releases a C object that has its own `destroy`. */
struct Destroy {
  template <typename T>
  void operator()(T* object) const {
    object->destroy(object);
  }
};

/**
 * A writer of a cache: `source->update(source.get())`. Null when out of memory. Its mapping and descriptor stay open
 * after it is destroyed.
 */
using CacheSource = std::unique_ptr<cache_source, Destroy>;

/** A calibration image; null when it cannot be read. */
using EepromImage = Owned<ar7240_eeprom, ar7240_eeprom_free>;

/**
 * A lock between processes. cache.h warns about its behaviour. The class Lock below avoids the trap of a failed lock.
 */
using RawLock = std::unique_ptr<InterProcessLock, Destroy>;

/* ---- Unknown values ---- */

/** A number in a record; INT32_MIN is unknown. */
inline std::optional<std::int32_t> known(std::int32_t value) {
  return value == KVRN_PSU_UNKNOWN_I32 ? std::nullopt : std::optional(value);
}

/** A temperature in degrees Celsius; -127 and the smart battery's 129 are unknown. */
inline std::optional<int> known_temp(int celsius) {
  return celsius == KVRN_PSU_UNKNOWN_TEMP || celsius == 129 ? std::nullopt : std::optional(celsius);
}

/** A percentage; the float with bits 0xCF000000 is unknown. */
inline std::optional<float> known_pct(float percent) {
  return percent <= KVRN_PSU_UNKNOWN_PCT ? std::nullopt : std::optional(percent);
}

/**
 * A remaining time in seconds. Unknown is INT32_MIN, or 65535 minutes: a battery sends this value when the time does
 * not apply.
 */
inline std::optional<std::int32_t> known_left(std::int32_t seconds) {
  return seconds == 65535 * 60 ? std::nullopt : known(seconds);
}

/** Seconds since 1970, UTC; -2147483648 is unknown. */
inline std::optional<std::int64_t> known_date(std::int64_t seconds) {
  return seconds == KVRN_PSU_UNKNOWN_TIME ? std::nullopt : std::optional(seconds);
}

/* ---- Records ---- */

/**
 * One power source: a view of a record, which must outlive it. Voltage and current are those of the battery or of the
 * supply.
 */
class Psu {
 public:
  Psu(const psu_info& record, int number) : record_(&record), number_(number) {}
  const psu_info& get() const { return *record_; }
  int number() const { return number_; }

  bool is_input() const { return record_->type == std::uint32_t{KVRN_PSU_TYPE_INPUT}; }
  bool is_battery() const { return record_->type == std::uint32_t{KVRN_PSU_TYPE_BATTERY}; }
  bool usable() const { return (record_->status & KVRN_PSU_STATUS_USABLE) != 0; }

  std::optional<std::int32_t> voltage_mv() const {
    if (is_battery()) return present() ? known(record_->voltage_mv) : std::nullopt;
    return measured() ? known(record_->supply_vout_mv) : std::nullopt;
  }
  /** The current of a battery is negative while it charges. */
  std::optional<std::int32_t> current_ma() const {
    if (is_battery()) return present() ? known(record_->current_ma) : std::nullopt;
    return measured() ? known(record_->supply_iout_ma) : std::nullopt;
  }
  std::optional<int> temp_c() const {
    if (is_battery()) return known_temp(record_->battery_temp_c);
    return measured() ? known_temp(record_->supply_temp_c) : std::nullopt;
  }

  /** The values of a battery. For an input they are unknown or false. */
  bool present() const { return is_battery() && (record_->battery_status & KVRN_PSU_BATTERY_PRESENT) != 0; }
  std::optional<bool> charging() const {
    if (!is_battery() || (record_->battery_status & KVRN_PSU_BATTERY_CHARGE_UNKNOWN) != 0) return std::nullopt;
    return (record_->battery_status & KVRN_PSU_BATTERY_CHARGING) != 0;
  }
  std::optional<float> charge_pct() const { return smart() ? known_pct(record_->charge_pct) : std::nullopt; }
  std::optional<std::int32_t> time_to_empty_s() const { return left(record_->time_to_empty_s); }
  std::optional<std::int32_t> time_to_full_s() const { return left(record_->time_to_full_s); }
  std::optional<std::int32_t> full_capacity_mah() const { return of_smart(record_->full_capacity_mah); }
  std::optional<std::int32_t> design_capacity_mah() const { return of_smart(record_->design_capacity_mah); }
  std::optional<std::int32_t> cycle_count() const { return of_smart(record_->cycle_count); }
  std::optional<std::int64_t> manufacture_time() const {
    return smart() ? known_date(record_->manufacture_time) : std::nullopt;
  }
  std::uint32_t cell_count() const { return record_->cell_count; }
  std::optional<std::int32_t> cell_mv(std::uint32_t cell) const {
    return cell < cell_count() && cell < std::size(record_->cell_mv) ? of_smart(record_->cell_mv[cell]) : std::nullopt;
  }

 private:
  bool measured() const { return (record_->supply_status & KVRN_PSU_SUPPLY_TELEMETRY) != 0; }
  bool smart() const { return is_battery() && record_->battery_kind == KVRN_PSU_BATTERY_SMART; }
  std::optional<std::int32_t> of_smart(std::int32_t value) const { return smart() ? known(value) : std::nullopt; }
  std::optional<std::int32_t> left(std::int32_t seconds) const { return smart() ? known_left(seconds) : std::nullopt; }

  const psu_info* record_;
  int number_;
};

/** One DC output: a view of a record, which must outlive it. A reading that failed is 0, as in the record. */
class Output {
 public:
  Output(const output_status& record, int number) : record_(&record), number_(number) {}
  const output_status& get() const { return *record_; }
  int number() const { return number_; } /**< from 0 */

  bool enabled() const { return record_->enabled != 0; }
  std::int32_t voltage_mv() const { return record_->voltage_mv; }
  std::int32_t current_ma() const { return record_->current_ma; }
  std::int32_t power_uw() const { return record_->power_uw; }
  /** Empty when the number is not a valid state. */
  std::optional<kvrn_output_state> state() const {
    const std::int32_t state = record_->state;
    if (state < KVRN_OUTPUT_NORMAL || state > KVRN_OUTPUT_CONFIGURED_OFF) return std::nullopt;
    return static_cast<kvrn_output_state>(state);
  }

 private:
  const output_status* record_;
  int number_;
};

/** Consecutive records, for a range-for. Each element is a `Face` of one record. */
template <typename Record, typename Face>
class Records {
 public:
  class Iterator {
   public:
    Iterator(const Record* records, int at) : records_(records), at_(at) {}
    Face operator*() const { return Face(records_[at_], at_); }
    Iterator& operator++() {
      ++at_;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return at_ != other.at_; }

   private:
    const Record* records_;
    int at_;
  };

  Records(const Record* records, int count, int most)
      : records_(records),
        count_(count < 0 || records == nullptr ? 0
               : count < most                  ? count
                                               : most) {}
  Iterator begin() const { return {records_, 0}; }
  Iterator end() const { return {records_, count_}; }
  int size() const { return count_; }
  Face operator[](int at) const { return Face(records_[at], at); }

 private:
  const Record* records_;
  int count_;
};
using PsuRange = Records<psu_info, Psu>;
using OutputRange = Records<output_status, Output>;

/** All power sources at one moment, from psu_info_get_all(): the source if it is given, the cache, or the hardware. */
class Psus {
 public:
  explicit Psus(cache_source* source = nullptr) : count_(psu_info_get_all(records_.data(), source)) {}
  /** Four records, as get_device_state() and the power budget take them. Records after the count are zero. */
  const psu_info* get() const { return records_.data(); }
  PsuRange range() const { return {records_.data(), count_, KVRN_PSU_MAX}; }
  auto begin() const { return range().begin(); }
  auto end() const { return range().end(); }
  int size() const { return range().size(); }
  Psu operator[](int psu) const { return range()[psu]; }

 private:
  std::array<psu_info, KVRN_PSU_MAX> records_{};
  int count_;
};

/**
 * A mapped cache; false when there is none. If another program truncates the file, an access to the records ends the
 * process.
 */
template <typename View, auto Open, auto Close, typename Range, int Most>
class CacheView {
 public:
  CacheView() { (void)Open(&view_); }
  CacheView(CacheView&& other) noexcept : view_(std::exchange(other.view_, View{})) {}
  CacheView& operator=(CacheView&& other) noexcept {
    std::swap(view_, other.view_);
    return *this;
  }
  ~CacheView() { Close(&view_); }
  explicit operator bool() const { return view_.records != nullptr; }
  const View& get() const { return view_; }
  Range range() const { return {view_.records, view_.count, Most}; }
  auto begin() const { return range().begin(); }
  auto end() const { return range().end(); }
  int size() const { return range().size(); }

 private:
  View view_{};
};
/** "/tmp/.psu_info_cache", when it is at most 10 seconds old. */
using PsuCache = CacheView<psu_info_view, get_psu_info_cache_data, psu_info_cache_data_free, PsuRange, KVRN_PSU_MAX>;
/** "/tmp/.output_cache" with any age. */
using OutputCache = CacheView<output_view, get_output_cache_data, output_cache_data_free, OutputRange, KVRN_OUTPUT_MAX>;

/** The sensor summary from sensors_info_get_ex(); false when out of memory. */
class Summary {
 public:
  explicit Summary(bool with_board_temps = false, cache_source* outputs = nullptr, cache_source* psus = nullptr)
      : info_(sensors_info_get_ex(with_board_temps ? 1 : 0, outputs, psus)) {}
  explicit operator bool() const { return info_ != nullptr; }
  const sensors_info* get() const { return info_.get(); }
  const sensors_info* operator->() const { return info_.get(); }
  PsuRange psus() const { return {info_->psu, get_psu_count(), KVRN_PSU_MAX}; }
  OutputRange outputs() const { return {info_->output, info_->output_count, KVRN_OUTPUT_MAX}; }

 private:
  Owned<sensors_info, sensors_info_free> info_;
};

/* ---- Configuration ---- */

/**
 * An entry of a configuration or of a list. Its texts are valid until the entry is changed or the configuration is
 * freed.
 */
class Entry {
 public:
  explicit Entry(const cfg_entry* entry) : entry_(entry) {}
  const cfg_entry* get() const { return entry_; }
  std::string_view key() const { return entry_->key; }
  /** Empty for a cleared entry. In changes() empty means that the key was removed. */
  std::optional<std::string_view> value() const {
    return entry_->value == nullptr ? std::nullopt : std::optional<std::string_view>(entry_->value);
  }
  /** The n-th index number of the key, from 1. */
  std::optional<std::int32_t> index(int n) const {
    const std::int32_t index = get_cfg_key_idx(entry_->key, n);
    return index == -1 ? std::nullopt : std::optional(index);
  }

 private:
  const cfg_entry* entry_;
};

/** A chain of entries, which it owns. A range-for over it gives objects of class Entry. */
template <auto Free>
class Chain {
 public:
  class Iterator {
   public:
    explicit Iterator(const cfg_entry* entry) : entry_(entry) {}
    Entry operator*() const { return Entry(entry_); }
    Iterator& operator++() {
      entry_ = entry_->next;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return entry_ != other.entry_; }

   private:
    const cfg_entry* entry_;
  };

  explicit Chain(cfg_entry* first = nullptr) : first_(first) {}
  explicit operator bool() const { return first_ != nullptr; } /**< false when it is empty */
  cfg_entry* get() const { return first_.get(); }
  cfg_entry* release() { return first_.release(); }
  Iterator begin() const { return Iterator(first_.get()); }
  Iterator end() const { return Iterator(nullptr); }

 protected:
  Owned<cfg_entry, Free> first_;
};

/** A list of entries of a configuration. The configuration must outlive the list. */
using Matches = Chain<free_cfg_it>;

/**
 * A configuration. A key here is a plain text, not a pattern; it is truncated to 255 characters. An empty result means
 * that there is no such value.
 */
class Configuration : public Chain<free_cfg> {
 public:
  using Chain::Chain;
  static Configuration read(const char* path) { return Configuration(parse(path)); }
  static Configuration read(std::FILE* stream) { return Configuration(parse_stream(stream)); }

  std::optional<std::string_view> value(std::string_view key) const {
    const char* text = get_value(get(), nullptr, "%.*s", length(key), start(key));
    return text == nullptr ? std::nullopt : std::optional<std::string_view>(text);
  }
  /** The value as get_int32() and get_bool() understand it. */
  std::optional<std::int32_t> number(std::string_view key) const { return either(get_int32, key); }
  std::optional<bool> flag(std::string_view key) const {
    const std::optional<int> flag = either(get_bool, key);
    return flag ? std::optional(*flag != 0) : std::nullopt;
  }
  /** The entries whose key begins with a prefix. */
  Matches below(std::string_view prefix) const {
    return Matches(get_cfg_it(get(), 0, "%.*s", length(prefix), start(prefix)));
  }
  /** The index i for which "<prefix>i.devname" is the device: `index_of("netconf.", "eth0")`. */
  std::optional<std::int32_t> index_of(const char* prefix, const char* device) const {
    const std::int32_t index = get_cfg_idx_by_devname(get(), prefix, device);
    return index == -1 ? std::nullopt : std::optional(index);
  }

  /** Changes a value, or adds the key. @return false when out of memory, and for the empty configuration */
  bool set(std::string_view key, const char* value) {
    return get() != nullptr && value != nullptr && update_value(get(), value, "%.*s", length(key), start(key)) >= 0;
  }
  /** Removes the value; the key stays. @return whether there was a value */
  bool clear(std::string_view key) { return update_value(get(), nullptr, "%.*s", length(key), start(key)) == -1; }
  /** Deletes every entry with the key. @return the number of deleted entries */
  int erase(std::string_view key) {
    cfg_entry* first = first_.release();
    const int count = cfg_del_key(&first, 1, "%.*s", length(key), start(key));
    first_.reset(first);
    return count;
  }
  /** save_cfg(): rewrites the file in place, with passwords protected. @return false when the file cannot be opened */
  bool save(const char* path) const { return save_cfg(get(), path) == 0; }
  /** The entries that are new, changed or missing compared with `old`. Both configurations must outlive the list. */
  Matches changes(const Configuration& old) const { return Matches(get_cfg_diff_it(old.get(), get())); }

 private:
  static int length(std::string_view text) { return static_cast<int>(text.size()); }
  static const char* start(std::string_view text) { return text.data() == nullptr ? "" : text.data(); }
  // A result that equals the fallback may be a real value. A second call with another fallback shows which one it is.
  template <typename T>
  std::optional<T> either(T (*getter)(const cfg_entry*, T, const char*, ...), std::string_view key) const {
    const T value = getter(get(), 0, "%.*s", length(key), start(key));
    if (value == 0 && getter(get(), 1, "%.*s", length(key), start(key)) == 1) return std::nullopt;
    return value;
  }
};

/* ---- Board ---- */

/** A board. Its record lives as long as the process. */
class Board {
 public:
  explicit Board(const kvrn_board_record* record) : record_(record) {}
  /** The board on which this process runs. */
  static Board identify() { return Board(board_identify()); }
  static std::optional<Board> by_code(const char* code) { return found(board_identify_platform(code)); }
  static std::optional<Board> by_system_id(std::uint32_t id) { return found(board_identify_system(id)); }

  const kvrn_board_record* get() const { return record_; }
  std::string_view name() const { return map_board_name(record_); }
  std::string_view code() const { return {record_->platform_code, strnlen(record_->platform_code, 16)}; }
  /** The SoC's revision register. */
  std::optional<std::uint32_t> cpu_revision() const {
    const std::uint32_t revision = record_->cpu_revision;
    return revision >= std::uint32_t{0} - 2 ? std::nullopt : std::optional(revision);
  }
  /** Index of the LED with number `ordinal` in a role. */
  std::optional<int> led(int role, int ordinal) const {
    const int place = led_idx(record_, role, ordinal);
    return place < 0 ? std::nullopt : std::optional(place);
  }

 private:
  static std::optional<Board> found(const kvrn_board_record* record) {
    return record == nullptr ? std::nullopt : std::optional<Board>(record);
  }
  const kvrn_board_record* record_;
};

/* ---- Single readings; empty when they fail ---- */

/** Reads a GPIO line by its packed number, or by chip path and line name. */
inline std::optional<bool> read_line(std::uint32_t line) {
  const int level = gpio_read(line);
  return level == KVRN_GPIO_FAILED ? std::nullopt : std::optional(level != 0);
}
inline std::optional<bool> read_line(const char* chip_path, const char* name) {
  const int level = gpio_read_by_name(chip_path, name);
  return level == KVRN_GPIO_FAILED ? std::nullopt : std::optional(level != 0);
}

/** Reads an integer attribute of a monitor. Its unit depends on the attribute. */
inline std::optional<int> read_hwmon(const char* device, const char* attribute) {
  int value = 0;
  return i2c_hwmon_readint(device, attribute, &value) == 0 ? std::optional(value) : std::nullopt;
}

/** Temperature of input supply 0 or 1. */
inline std::optional<int> supply_temp_c(int input) {
  int celsius = 0;
  return get_psu_temp_info(input, &celsius) != 0 ? std::optional(celsius) : std::nullopt;
}

/** Whether PoE is on at a configured interface, 1 to 128. Also empty when the interface has no PoE line. */
inline std::optional<bool> poe_on(int interface_index) {
  const int level = dc_get_output(static_cast<std::int8_t>((interface_index - 1) - 128));
  return level == KVRN_GPIO_FAILED || level < 0 ? std::nullopt : std::optional(level != 0);
}

/** The published estimate for a battery, PSU 2 or 3. When it is missing, the call takes 600 ms. */
struct BatteryEstimate {
  std::int32_t charge_pct;
  std::int32_t time_s;
};
inline std::optional<BatteryEstimate> read_estimate(int psu) {
  std::int32_t time_s = 0;
  std::int32_t third = 0;
  const int charge = get_battery_data(psu, &time_s, &third);
  return charge == -2 ? std::nullopt : std::optional(BatteryEstimate{charge, time_s});
}

/**
 * The record of a battery, PSU 2 or 3. Charge and current are unknown while the charger is idle. The charge is also
 * unknown when the flags contain an error.
 */
struct BatteryFlags {
  std::uint32_t flags;
  std::optional<std::int32_t> charge_mah;
  std::optional<std::int32_t> current_ma;
};
inline std::optional<BatteryFlags> read_flags(int psu) {
  std::uint32_t flags = 0;
  std::int32_t charge = -1;
  std::int32_t current = -1;
  if (read_battery_flags_v2(psu, &flags, &charge, &current) == 0) return std::nullopt;
  return BatteryFlags{flags, charge == -1 ? std::nullopt : std::optional(charge),
                      current == -1 ? std::nullopt : std::optional(current)};
}

/* ---- Tools ---- */

/** An averaging buffer; false when out of memory, and for a capacity of 0. */
class Average {
 public:
  explicit Average(std::uint32_t capacity) {
    if (capacity == 0 || avg_value_buff_init(&buffer_, capacity) == 0) buffer_ = {};
  }
  Average(Average&& other) noexcept : buffer_(std::exchange(other.buffer_, avg_value_buff{})) {}
  Average& operator=(Average&& other) noexcept {
    std::swap(buffer_, other.buffer_);
    return *this;
  }
  ~Average() { avg_value_buff_clean(&buffer_); }
  explicit operator bool() const { return buffer_.samples != nullptr; }
  const avg_value_buff& get() const { return buffer_; }
  /** @return the new average of the samples in the buffer */
  std::int64_t add(std::int64_t value) { return avg_value_buff_add(&buffer_, value); }
  void reset() { avg_value_buff_reset(&buffer_); }

 private:
  avg_value_buff buffer_{};
};

/**
 * Holds a lock between processes as long as the object lives; false: not acquired.
 * `if (const Lock lock = Lock::outputs()) ...`
 * After a failure, a C lock counts as held, and its unlock removes the file of the real holder. This class leaves that
 * file alone.
 */
class Lock {
 public:
  /** Tries for 10 times `wait_s` seconds. */
  Lock(const char* path, std::int64_t wait_s)
      : path_(path == nullptr ? nullptr : ::strdup(path)), lock_(InterProcessLockNew(path_.get(), wait_s)) {
    if (!lock_ || lock_->lock(lock_.get()) != 0) return;
    // With an empty path the destructor of the C lock removes no file.
    *path_ = '\0';
    lock_.reset();
  }
  Lock(Lock&&) = default;
  /** The lock of the processes that switch the DC outputs. */
  static Lock outputs() { return {"/tmp/.dc_out_lock", 10}; }
  explicit operator bool() const { return lock_ != nullptr; }
  InterProcessLock* get() const { return lock_.get(); }

 private:
  Owned<char, std::free> path_;  // the lock keeps a pointer to this text
  RawLock lock_;
};

/**
 * Reports to a callable what the library calls of this thread read, as long as the object lives:
 * `const Observer watch([&](const kvrn_observation& read) { ... });`
 * The callable must not call the library. An exception in the callable ends the program. A thread can have one
 * observer, and the same thread must destroy it.
 */
template <typename Callable>
class Observer {
 public:
  explicit Observer(Callable callable) : callable_(std::move(callable)) { kvrn_observe(call, this); }
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;
  ~Observer() { kvrn_observe(nullptr, nullptr); }

 private:
  static void call(const kvrn_observation* observation, void* self) noexcept {
    static_cast<Observer*>(self)->callable_(*observation);
  }
  Callable callable_;
};

}  // namespace kvrnpp

#endif
