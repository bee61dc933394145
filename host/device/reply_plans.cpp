// SPDX-License-Identifier: Apache-2.0
#include "host/device/reply_plans.h"

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "host/device/reply_bytes.h"

namespace hub::host {
namespace {

// Where a reply stands, and with it which forms it may have: each place takes those of the places before it too.
enum class Use {
  kBytes,   // in a list or a drain: bytes
  kAnswer,  // in a sequence: a status too
  kReply,   // on its own: a sequence or a drain too
};

void read_into(const JsonPlace& at, Use use, ReplyPlan& plan);

Answer read_answer(const JsonPlace& at) {
  ReplyPlan plan;
  read_into(at, Use::kAnswer, plan);
  return std::get<Answer>(std::move(plan));
}

Bytes read_bytes(const JsonPlace& at) {
  ReplyPlan plan;
  read_into(at, Use::kBytes, plan);
  return std::get<Answer>(std::move(plan)).bytes;
}

// { "status": STATUS }
void read_status_form(const JsonPlace& object, ReplyPlan& plan) {
  Answer answer;
  read_fields(object, {{"status", into(answer.status, read_status), Need::kRequired}});
  plan = std::move(answer);
}

// The elements of a sequence: at least one.
template <typename Read>
auto sequence_of(Read read) {
  return [read](const JsonPlace& at) {
    auto list = list_of(read)(at);
    if (list.empty()) {
      at.refuse("an array of at least 1");
    }
    return list;
  };
}

// { "sequence": [ REPLY, ... ] }
void read_sequence_form(const JsonPlace& object, ReplyPlan& plan) {
  AnswerSequence sequence;
  read_fields(object, {{"sequence", into(sequence.answers, sequence_of(read_answer)), Need::kRequired}});
  plan = std::move(sequence);
}

std::size_t read_unit(const JsonPlace& at) {
  return read_integer_bits(at, 1, static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()));
}

// { "drain": REPLY, "unit": 48 }
void read_drain_form(const JsonPlace& object, ReplyPlan& plan) {
  Drain drain;
  read_fields(object, {{"drain", into(drain.bytes, read_bytes), Need::kRequired},
                       {"unit", into(drain.unit_bytes, read_unit), Need::kRequired}});
  if (drain.bytes.size() % drain.unit_bytes != 0) {
    object.refuse("a whole number of units of " + in_bytes(drain.unit_bytes), in_bytes(drain.bytes.size()));
  }
  plan = std::move(drain);
}

// The forms that do more than state bytes.
struct ReplyForm {
  std::string_view key;
  Use use;
  void (*read)(const JsonPlace& object, ReplyPlan& plan);
};

constexpr ReplyForm kReplyForms[] = {
    {"status", Use::kAnswer, read_status_form},
    {"sequence", Use::kReply, read_sequence_form},
    {"drain", Use::kReply, read_drain_form},
};

[[noreturn]] void refuse_as_reply(const JsonPlace& at, Use use) {
  std::vector<std::string_view> keys;
  for (const ByteForm& form : byte_forms()) {
    keys.push_back(form.key);
  }
  for (const ReplyForm& form : kReplyForms) {
    if (form.use <= use) {
      keys.push_back(form.key);
    }
  }
  const auto* members = at.get_if<JsonObject>();
  at.refuse("a list, or an object with one of the keys " + enumeration(keys),
            members != nullptr && !members->empty() ? "an object with " + in_quotes(members->front().key)
                                                    : description(at.value()));
}

// Reads the object by the first of its keys that is a form's; what else it has is for that form to take or refuse.
void read_form(const JsonPlace& object, Use use, ReplyPlan& plan) {
  for (const JsonMember& member : object.get<JsonObject>("an object")) {
    for (const ByteForm& form : byte_forms()) {
      if (form.key == member.key) {
        return form.append(object, std::get<Answer>(plan).bytes);
      }
    }
    for (const ReplyForm& form : kReplyForms) {
      if (form.key == member.key && form.use <= use) {
        return form.read(object, plan);
      }
    }
  }
  refuse_as_reply(object, use);
}

// Appends bytes to the plan, which is an answer, or puts another plan in its place.
void read_into(const JsonPlace& at, Use use, ReplyPlan& plan) {
  if (at.get_if<JsonArray>() != nullptr) {
    for_each_element(at, [&plan](const JsonPlace& part) { read_into(part, Use::kBytes, plan); });
  } else if (at.get_if<JsonObject>() != nullptr) {
    read_form(at, use, plan);
  } else {
    refuse_as_reply(at, use);
  }
}

}  // namespace

ReplyPlan read_reply(const JsonPlace& at) {
  ReplyPlan plan;
  read_into(at, Use::kReply, plan);
  return plan;
}

std::int32_t read_status(const JsonPlace& at) {
  const auto* text = at.get_if<std::string>();
  const auto number = text != nullptr ? parse_hex_number(*text) : std::nullopt;
  return number ? static_cast<std::int32_t>(*number) : read_32_bits(at, ", or 0x and up to 8 hexadecimal digits");
}

StatusPlan read_status_plan(const JsonPlace& at) {
  if (at.get_if<JsonObject>() == nullptr) {
    return {read_status(at)};
  }
  StatusPlan plan;
  read_fields(at, {{"sequence", into(plan, sequence_of(read_status)), Need::kRequired}});
  return plan;
}

}  // namespace hub::host
