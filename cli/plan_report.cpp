// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/plan_report.hpp"

#include <fmt/core.h>

#include "toolkit/text.hpp"

namespace quorra::cli {

std::string addresses(Range range) {
  if (range.count == 1) return fmt::format("0x{:04X}", range.address);
  return fmt::format("0x{:04X}-0x{:04X}", range.address, range.end() - 1);
}

std::string words_for_plan(const Plan& plan) {
  std::string text =
      fmt::format("{} to change in {}; bits 1->0: {}, 0->1: {}; erasures: {}; attempts: {}.\n",
                  counted(plan.bytes_changed, "byte"), counted(plan.frames, "frame"),
                  plan.bits_cleared, plan.bits_set, plan.erasures_counted, plan.attempts);
  for (const PlannedErasure& erasure : plan.erasures) {
    text += fmt::format("{} erased\n", addresses({erasure.address, erasure.range.count}));
  }
  for (const PlannedWrite& write : plan.writes) {
    text += fmt::format("{} written\n", addresses({write.address, write.range.count}));
  }
  return text;
}

Json plan_fields(const Plan& plan) {
  Json object{{"bytes_changed", plan.bytes_changed},
              {"bytes_sent", plan.bytes_sent},
              {"frames", plan.frames},
              {"bits_cleared", plan.bits_cleared},
              {"bits_set", plan.bits_set},
              {"erasures", plan.erasures_counted},
              {"attempts", plan.attempts}};
  object["erased"] = Json::array();
  for (const PlannedErasure& erasure : plan.erasures) {
    object["erased"].push_back({{"address", erasure.address}, {"count", erasure.range.count}});
  }
  object["writes"] = Json::array();
  for (const PlannedWrite& write : plan.writes) {
    object["writes"].push_back({{"address", write.address}, {"count", write.range.count}});
  }
  object["obstacles"] = Json::array();
  for (const ObstacleAt& at : plan.obstacles) {
    object["obstacles"].push_back({{"address", at.range.address},
                                   {"count", at.range.count},
                                   {"reason", words_for(at.obstacle)}});
  }
  return object;
}

}  // namespace quorra::cli
