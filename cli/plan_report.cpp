// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/plan_report.hpp"

#include <fmt/core.h>

#include "toolkit/text.hpp"

namespace quorra::cli {

std::string words_for_plan(const Plan& plan, int told_from) {
  std::string text =
      fmt::format("{} to change in {}; bits 1->0: {}, 0->1: {}; erasures: {}; attempts: {}.\n",
                  counted(plan.bytes_changed, "byte"), counted(plan.frames, "frame"),
                  plan.bits_cleared, plan.bits_set, plan.erasures_counted, plan.attempts);
  for (const PlannedErasure& erasure : plan.erasures) {
    text +=
        fmt::format("{} erased\n", addresses({erasure.address + told_from, erasure.range.count}));
  }
  for (const PlannedWrite& write : plan.writes) {
    text += fmt::format("{} written\n", addresses({write.address + told_from, write.range.count}));
  }
  return text;
}

std::string words_for_obstacles(const Plan& plan, int told_from) {
  std::string text;
  for (const ObstacleAt& at : plan.obstacles) {
    text += fmt::format("{} stays: {}\n", addresses(moved(at.range, told_from)),
                        words_for(at.obstacle));
  }
  return text;
}

Json plan_fields(const Plan& plan, int told_from) {
  Json object{{"bytes_changed", plan.bytes_changed},
              {"bytes_sent", plan.bytes_sent},
              {"frames", plan.frames},
              {"bits_cleared", plan.bits_cleared},
              {"bits_set", plan.bits_set},
              {"erasures", plan.erasures_counted},
              {"attempts", plan.attempts}};
  object["erased"] = Json::array();
  for (const PlannedErasure& erasure : plan.erasures) {
    object["erased"].push_back(
        {{"address", erasure.address + told_from}, {"count", erasure.range.count}});
  }
  object["writes"] = Json::array();
  for (const PlannedWrite& write : plan.writes) {
    object["writes"].push_back(
        {{"address", write.address + told_from}, {"count", write.range.count}});
  }
  object["obstacles"] = Json::array();
  for (const ObstacleAt& at : plan.obstacles) {
    object["obstacles"].push_back({{"address", at.range.address + told_from},
                                   {"count", at.range.count},
                                   {"reason", words_for(at.obstacle)}});
  }
  return object;
}

}  // namespace quorra::cli
