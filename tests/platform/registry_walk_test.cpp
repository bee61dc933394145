// SPDX-License-Identifier: Apache-2.0
// Finding an entry by name and id, and walking from it.
#include <cstring>
#include <string>

#include "tests/platform/registry_fixture.h"

namespace hub::test {
namespace {

class RegistryWalk : public RegistryTest {
 protected:
  static HeldService named(const char* name) {
    return HeldService(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching(name)));
  }
  static HeldService with_id(std::uint64_t id) {
    return HeldService(IOServiceGetMatchingService(kIOMasterPortDefault, IORegistryEntryIDMatching(id)));
  }
  static std::string name_of(io_registry_entry_t entry) {
    io_name_t name = "untouched";
    return IORegistryEntryGetName(entry, name) == kIOReturnSuccess ? name : "none";
  }
  static RegistryEntryId add_named(RegistryEntryId parent, const std::string& name,
                                   RegistryEntryId id = platform::kAssignedId) {
    return platform::add_registry_entry(parent, name, "Class", nullptr, id);
  }

  using Step = kern_return_t (*)(io_registry_entry_t, const char*, io_registry_entry_t*);

  // The name of the entry one step away, or the step's result.
  static std::string stepped(Step step, io_registry_entry_t from, const char* plane = kIOServicePlane) {
    io_registry_entry_t found = 77;
    const kern_return_t result = step(from, plane, &found);
    if (result != kIOReturnSuccess) {
      EXPECT_EQ(found, IO_OBJECT_NULL);
      return result == kIOReturnNoDevice ? "no device" : result == kIOReturnBadArgument ? "bad argument" : "?";
    }
    return name_of(HeldService(found));
  }
};

TEST_F(RegistryWalk, finds_the_first_entry_of_a_name) {
  const auto root = add_named(kNoParent, "root");
  add_named(root, "accel", 7);
  add_named(root, "accel", 8);
  EXPECT_EQ(with_id(7), named("accel"));
  EXPECT_EQ(named("acce"), IO_OBJECT_NULL);
  EXPECT_EQ(named("Class"), IO_OBJECT_NULL);
}

TEST_F(RegistryWalk, finds_an_entry_by_its_id) {
  const auto root = add_named(kNoParent, "root");
  const auto leaf = add_named(root, "leaf");
  EXPECT_EQ(name_of(with_id(leaf)), "leaf");
  EXPECT_EQ(name_of(with_id(root)), "root");
  EXPECT_EQ(with_id(leaf + 1000), IO_OBJECT_NULL);
  EXPECT_EQ(with_id(0), IO_OBJECT_NULL);
}

TEST_F(RegistryWalk, entry_keeps_the_id_that_the_host_wants) {
  EXPECT_EQ(add_named(kNoParent, "a", 4294967301), 4294967301U);
  EXPECT_EQ(add_named(kNoParent, "b", INT64_MAX), static_cast<RegistryEntryId>(INT64_MAX));
  EXPECT_EQ(name_of(with_id(4294967301)), "a");
  EXPECT_EQ(name_of(with_id(INT64_MAX)), "b");
}

TEST_F(RegistryWalk, assigned_ids_are_no_others) {
  const auto first_assigned = add_named(kNoParent, "a");
  add_named(kNoParent, "b", first_assigned + 1);
  const auto second_assigned = add_named(kNoParent, "c");
  EXPECT_NE(second_assigned, first_assigned);
  EXPECT_NE(second_assigned, first_assigned + 1);
}

TEST_F(RegistryWalk, id_that_an_entry_has_ends_the_process) {
  add_named(kNoParent, "a", 5);
  EXPECT_DEATH(add_named(kNoParent, "b", 5), "add_registry_entry: an id that an entry has already");
}

TEST_F(RegistryWalk, matching_by_another_type_fits_nothing) {
  add_named(kNoParent, "5", 5);
  for (const char* key : {kIONameMatchKey, kIORegistryEntryIDKey}) {
    const auto by_text = dictionary();
    CFDictionarySetValue(by_text, string(key),
                         std::strcmp(key, kIONameMatchKey) == 0 ? CFTypeRef(number(5)) : string("5"));
    CFRetain(by_text);
    EXPECT_EQ(IOServiceGetMatchingService(kIOMasterPortDefault, by_text), IO_OBJECT_NULL) << key;
  }
}

TEST_F(RegistryWalk, every_key_of_a_dictionary_must_fit) {
  add_named(kNoParent, "accel", 5);
  const auto matching_both = [](std::uint64_t id) {
    const CFMutableDictionaryRef both = IOServiceNameMatching("accel");
    CFDictionarySetValue(both, CFSTR(kIORegistryEntryIDKey), number(static_cast<std::int64_t>(id)));
    return HeldService(IOServiceGetMatchingService(kIOMasterPortDefault, both));
  };
  EXPECT_NE(matching_both(5), IO_OBJECT_NULL);
  EXPECT_EQ(matching_both(6), IO_OBJECT_NULL);
}

TEST_F(RegistryWalk, parent_is_the_entry_above) {
  const auto root = add_named(kNoParent, "root");
  const auto middle = add_named(root, "middle");
  add_named(middle, "leaf");
  EXPECT_EQ(stepped(IORegistryEntryGetParentEntry, named("leaf")), "middle");
  EXPECT_EQ(stepped(IORegistryEntryGetParentEntry, named("middle")), "root");
}

TEST_F(RegistryWalk, root_has_no_parent) {
  add_named(kNoParent, "root");
  EXPECT_EQ(stepped(IORegistryEntryGetParentEntry, named("root")), "no device");
}

TEST_F(RegistryWalk, child_is_the_first_entry_below) {
  const auto root = add_named(kNoParent, "root");
  add_named(root, "first");
  add_named(root, "second");
  EXPECT_EQ(stepped(IORegistryEntryGetChildEntry, named("root")), "first");
}

TEST_F(RegistryWalk, leaf_has_no_child) {
  add_named(kNoParent, "leaf");
  EXPECT_EQ(stepped(IORegistryEntryGetChildEntry, named("leaf")), "no device");
}

TEST_F(RegistryWalk, handle_that_is_not_held_and_another_plane_are_bad_arguments) {
  const auto root = add_named(kNoParent, "root");
  add_named(root, "leaf");
  for (const Step step : {IORegistryEntryGetParentEntry, IORegistryEntryGetChildEntry}) {
    EXPECT_EQ(stepped(step, 4711), "bad argument");
    EXPECT_EQ(stepped(step, IO_OBJECT_NULL), "bad argument");
    EXPECT_EQ(stepped(step, named("leaf"), "IOPower"), "bad argument");
  }
}

TEST_F(RegistryWalk, each_step_counts_a_reference) {
  const auto root = add_named(kNoParent, "root");
  add_named(root, "leaf");
  const HeldService leaf = named("leaf");
  io_registry_entry_t parent = IO_OBJECT_NULL;
  ASSERT_EQ(IORegistryEntryGetParentEntry(leaf, kIOServicePlane, &parent), kIOReturnSuccess);
  EXPECT_EQ(platform::held_registry_references(), 2U);
  EXPECT_EQ(IOObjectRelease(parent), kIOReturnSuccess);
  EXPECT_EQ(platform::held_registry_references(), 1U);
}

TEST_F(RegistryWalk, entry_whose_tree_was_cleared_has_nobody_around_it) {
  const auto root = add_named(kNoParent, "root");
  add_named(add_named(root, "middle"), "leaf");
  const HeldService middle = named("middle");
  platform::clear_registry();
  EXPECT_EQ(stepped(IORegistryEntryGetParentEntry, middle), "no device");
  EXPECT_EQ(stepped(IORegistryEntryGetChildEntry, middle), "no device");
  EXPECT_EQ(name_of(middle), "middle");
}

TEST_F(RegistryWalk, name_of_127_bytes_is_told_whole) {
  const std::string longest(127, 'n');
  add_named(kNoParent, longest);
  EXPECT_EQ(name_of(named(longest.c_str())), longest);
}

TEST_F(RegistryWalk, longer_name_ends_the_process) {
  EXPECT_DEATH(add_named(kNoParent, std::string(128, 'n')), "add_registry_entry: a name longer than 127 bytes");
}

TEST_F(RegistryWalk, name_of_a_handle_that_is_not_held_is_left_alone) {
  io_name_t name = "untouched";
  EXPECT_EQ(IORegistryEntryGetName(4711, name), kIOReturnBadArgument);
  EXPECT_STREQ(name, "untouched");
}

}  // namespace
}  // namespace hub::test
