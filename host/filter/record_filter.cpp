// SPDX-License-Identifier: Apache-2.0
#include "host/filter/record_filter.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "host/filter/filter_parser.h"

namespace hub::host {

// The comparisons in the order in which they are asked. Each says where to go on when it holds and when it does not, so
// that what no longer matters is left out.
class RecordFilter::Program {
 public:
  explicit Program(ParsedFilter parsed) : comparisons_(std::move(parsed.comparisons)) {
    first_ = add(parsed.tree, kMatches, kDiffers);
  }

  [[nodiscard]] bool matches(const _HubProfileReport& report) const {
    Target target = first_;
    while (target < kDiffers) {
      const Step& step = steps_[target];
      target = comparisons_[step.comparison].holds(report) ? step.if_true : step.if_false;
    }
    return target == kMatches;
  }

 private:
  using Target = std::uint32_t;  // a step, or the end
  static constexpr Target kMatches = UINT32_MAX;
  static constexpr Target kDiffers = kMatches - 1;

  struct Step {
    std::size_t comparison;
    Target if_true;
    Target if_false;
  };

  // Adds the steps of a part, which goes on there. Steps are added from the last to the first, since each must know
  // those behind it.
  Target add(const FilterTree& part, Target if_true, Target if_false) {
    if (part.is_negated) {
      std::swap(if_true, if_false);
    }
    if (part.kind == FilterTree::Kind::kComparison) {
      steps_.push_back({part.comparison, if_true, if_false});
      return static_cast<Target>(steps_.size() - 1);
    }
    Target next = part.kind == FilterTree::Kind::kAll ? if_true : if_false;
    for (auto inner = part.parts.rbegin(); inner != part.parts.rend(); ++inner) {
      next = part.kind == FilterTree::Kind::kAll ? add(*inner, next, if_false) : add(*inner, if_true, next);
    }
    return next;
  }

  std::vector<Comparison> comparisons_;
  std::vector<Step> steps_;
  Target first_ = kDiffers;
};

RecordFilter::RecordFilter(std::shared_ptr<const Program> program) : program_(std::move(program)) {}

RecordFilter RecordFilter::parse(std::string_view expression) {
  return RecordFilter(std::make_shared<const Program>(parse_filter(expression)));
}

bool RecordFilter::matches(const _HubProfileReport& report) const { return program_->matches(report); }

}  // namespace hub::host
