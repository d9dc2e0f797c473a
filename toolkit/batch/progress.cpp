// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/batch/progress.hpp"

#include <algorithm>
#include <cstddef>

namespace quorra::toolkit {

HeldProgress find_progress(const Bytes& before, const Bytes& wanted, const Bytes& held, int unit) {
  const auto differing = std::ranges::mismatch(held, wanted).in1;
  const auto written = differing - held.begin();
  const auto with = [written](CardProgress progress) {
    return HeldProgress{progress, static_cast<int>(written)};
  };
  if (differing == held.end()) return with(CardProgress::complete);
  if (held == before) return with(CardProgress::untouched);
  const bool has_news = !std::equal(held.begin(), differing, before.begin());
  const auto torn = std::min<std::ptrdiff_t>(unit, held.end() - differing);
  const bool has_old_rest =
      std::equal(differing + torn, held.end(), before.begin() + written + torn);
  return with(has_news && has_old_rest ? CardProgress::begun : CardProgress::other);
}

}  // namespace quorra::toolkit
