// SPDX-License-Identifier: Apache-2.0
#include "tests/reliability/schedules/session_orders.h"

#include <chrono>
#include <thread>

#include "dispatch/queue_control_host.h"
#include "tests/reliability/schedules/seeded_choice.h"

namespace hub::test {
namespace {

// Who may take the next step: a queue with a block, or an actor.
struct Candidate {
  dispatch_queue_t queue;  // or NULL
  Actor actor;
};

// The order of one session on one thread.
class ControlledOrder {
 public:
  // Without a choice the first who may go on does.
  explicit ControlledOrder(std::optional<SeededChoice> choice) : choice_(choice) {
    if (choice_) {
      constexpr std::size_t kReluctance[] = {1, 4, 16, 64};
      constexpr std::size_t kEagerness[] = {1, 4, 16};
      reluctance_ = kReluctance[choice_->below(std::size(kReluctance))];
      eagerness_ = kEagerness[choice_->below(std::size(kEagerness))];
    }
    platform::control_queues([this] { run_a_block(); });
  }
  ControlledOrder(const ControlledOrder&) = delete;
  ControlledOrder& operator=(const ControlledOrder&) = delete;
  ~ControlledOrder() { platform::control_queues({}); }

  Played play(const Plan& plan, const std::string& plugin, ReferenceSnapshots& reference) {
    SessionRun run(plan, plugin, reference, [this] { let_others_go_on(); });
    run_ = &run;
    for (std::vector<Candidate> all = candidates(); !all.empty(); all = candidates()) {
      step(all);
    }
    run.finish();
    played_.complaints = run.complaints();
    return std::move(played_);
  }

 private:
  std::size_t below(std::size_t count) { return choice_ ? choice_->below(count) : 0; }

  // Somebody waits: actors may go on, too, as reluctant as they are in this session, until a block has run.
  void run_a_block() {
    for (;;) {
      std::vector<Candidate> all = queues();
      if (all.empty()) {
        return;
      }
      if (choice_ && choice_->once_in(reluctance_)) {
        append_actors(all);
      }
      if (step(all)) {
        return;
      }
    }
  }

  // The firmware takes its time.
  void let_others_go_on() {
    if (choice_ && choice_->once_in(4 * reluctance_)) {
      if (const std::vector<Candidate> all = candidates(); !all.empty()) {
        step(all);
      }
    }
  }

  // Each as often as queues are eager in this session.
  [[nodiscard]] std::vector<Candidate> queues() const {
    std::vector<Candidate> found;
    for (const dispatch_queue_t queue : platform::runnable_queues()) {
      found.insert(found.end(), eagerness_, {queue, kActors});
    }
    return found;
  }

  // Each as often as it has actions left, so that all come to their ends at about the same time. Not those who are in
  // the midst of an action, nor one who would wait for a queue that is in the midst of a block.
  void append_actors(std::vector<Candidate>& found) const {
    for (std::size_t number = 0; number < kActors; ++number) {
      const auto actor = static_cast<Actor>(number);
      const Action* action = run_->next_action(actor);
      if (action != nullptr && !is_acting_[actor] && (blocks_under_way_ == 0 || !action->waits_for_queues())) {
        found.insert(found.end(), run_->actions_left(actor), {nullptr, actor});
      }
    }
  }

  std::vector<Candidate> candidates() const {
    std::vector<Candidate> found = queues();
    append_actors(found);
    return found;
  }

  // True: it was a block.
  bool step(const std::vector<Candidate>& all) {
    const Candidate chosen = all[below(all.size())];
    const bool is_block = chosen.queue != nullptr;
    note(is_block ? "queue " + std::to_string(run_->number_of_queue(chosen.queue)) + " runs a block"
                  : std::string("the ") + name_of(chosen.actor) + " " + run_->next_action(chosen.actor)->text());
    ++depth_;
    if (is_block) {
      ++blocks_under_way_;
      platform::run_next_block(chosen.queue);
      --blocks_under_way_;
    } else {
      is_acting_[chosen.actor] = true;
      run_->act(chosen.actor);
      is_acting_[chosen.actor] = false;
    }
    --depth_;
    return is_block;
  }

  void note(const std::string& text) { played_.order.push_back(std::string(2 * depth_, ' ') + text); }

  std::optional<SeededChoice> choice_;
  std::size_t reluctance_ = 1;  // others go on once in so many times that somebody waits
  std::size_t eagerness_ = 1;   // of queues, against actors
  SessionRun* run_ = nullptr;
  Played played_;
  std::size_t depth_ = 0;
  std::size_t blocks_under_way_ = 0;
  std::array<bool, kActors> is_acting_{};
};

// Up to 200 microseconds, half of the time none.
void pause(SeededChoice& choice) {
  if (choice.once_in(2)) {
    std::this_thread::sleep_for(std::chrono::microseconds(choice.below(200)));
  }
}

void act_to_the_end(SessionRun& run, Actor actor, SeededChoice choice) {
  while (run.next_action(actor) != nullptr) {
    pause(choice);
    run.act(actor);
  }
}

}  // namespace

Played play_by_seed(std::uint64_t seed, const std::string& plugin, ReferenceSnapshots& reference) {
  return ControlledOrder(SeededChoice(~seed)).play(plan_of(seed), plugin, reference);
}

Played play_in_sequence(const std::string& plugin, ReferenceSnapshots& reference) {
  return ControlledOrder(std::nullopt).play(plain_plan(), plugin, reference);
}

Played play_in_threads(std::uint64_t seed, const std::string& plugin, ReferenceSnapshots& reference) {
  const Plan plan = plan_of(seed);
  SeededChoice choice(~seed);
  std::atomic<std::uint64_t> answers = choice.below(UINT32_MAX);
  SessionRun run(plan, plugin, reference, [&answers] {
    if (SeededChoice its_choice(answers.fetch_add(1, std::memory_order_relaxed)); its_choice.once_in(16)) {
      pause(its_choice);
    }
  });
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < kActors; ++number) {
    threads.emplace_back(act_to_the_end, std::ref(run), static_cast<Actor>(number), choice.fork());
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  run.finish();
  return {{}, run.complaints()};
}

}  // namespace hub::test
