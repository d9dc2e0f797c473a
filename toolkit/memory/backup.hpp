// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// All that can be read of a card, in a file. Nothing in it depends on when it was made: two backups
// of a card that has not changed are the same bytes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "toolkit/bytes.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/memory/differences.hpp"
#include "toolkit/memory/plan.hpp"
#include "toolkit/memory/protection.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

inline constexpr int backup_schema = 1;

// Attempts at a code, erasures, or the units of a stage: "zone2.erasures".
struct NamedCounter {
  std::string name;
  int left;

  bool operator==(const NamedCounter&) const = default;
};

struct Backup {
  const Card* card = nullptr;
  Bytes answer_to_reset = {};               // empty where the card has none of its own
  Bytes memory = {};                        // of all zones
  std::vector<Range> protected_bytes = {};  // the lowest first, with bytes between them
  std::vector<NamedCounter> counters = {};
  bool is_personalised = false;  // known of a card with a counter of units

  Segments bytes() const { return {0, memory}; }
  // The same as the plan for a card that holds this wants it.
  Held held() const;
};

// Reads all of a card. Throws Failure.
Backup take_backup(const Session& session, const Card& card, const Operation& operation);

// A JSON object, in which "segments" is what a data file has, so that it is one, too. "checksum" is
// the CRC-32 of the object without it: its members by name, without blanks.
std::string to_text(const Backup& backup);

// Throws UsageError, in one line, if it is no backup or was damaged.
Backup parse_backup(std::string_view file_name, const Bytes& content);

// Whether a file claims to be a backup, damaged or not.
bool is_backup(const Bytes& content);

// What cannot be read without a code, and shows one value for all of its bytes: codes, and the data
// of a zone without its read flag. Of what is held, regions that it has no bytes of are none.
std::vector<Region> hidden_regions(const Card& card, const Held& held);
std::vector<Region> hidden_regions(const Backup& backup);

struct CounterDifference {
  std::string name;
  int left;
  int right;
};

struct BackupDifferences {
  bool kind = false;  // then nothing else is compared
  bool answer_to_reset = false;
  bool personalised = false;
  Differences bytes;              // hidden ones are not compared
  std::vector<Range> protection;  // read-only in one of the two
  std::vector<CounterDifference> counters;

  bool none() const;
};

BackupDifferences compare(const Backup& left, const Backup& right);

// Why something of a backup does not come back.
enum class Loss {
  read_only,
  zero_stays,
  no_command,
  code,             // codes are left alone
  hidden,           // the backup does not know it
  flags,            // they can only be cleared, which is for good and has to be wanted
  counter,          // the card counts by itself
  protection,       // bytes of the backup are read-only, and restoring does not make them so
  protected_since,  // and the other way about
  personalised,
};

struct LostBytes {
  Loss loss;
  std::string region;
  Range range;  // empty for what has no address
};

// "read-only for good"
std::string_view words_for(Loss loss);

// What is wanted of a restoration beside the bytes.
struct RestoreOptions {
  PlanOptions plan = {};
  const Memory* zone = nullptr;  // nothing but this one comes back
  bool protects = false;         // bytes that were read-only become so again, and zones guarded
};

struct Restoration {
  Plan plan;
  std::vector<Range> to_protect;
  std::vector<ZoneGuard> to_guard;  // in this order
  std::vector<LostBytes> losses;
  std::vector<CounterDifference> counters;  // what was left then, and what is now
};

// What makes the card, which holds `present`, what it was. Both are of one kind.
Restoration plan_restoration(const Backup& backup, const Backup& present,
                             const RestoreOptions& options = {});

}  // namespace quorra::toolkit
