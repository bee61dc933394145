// SPDX-License-Identifier: Apache-2.0
#include "host/captures/report_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "host/io/descriptor.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using host::ByteOrigin;
using host::ByteSource;
using host::Descriptor;
using host::kReportSize;
using host::ReadBytes;
using host::ReportReader;

// The bytes of reports whose sequence numbers are 0, 1, 2 ...
std::string capture(std::uint32_t count) {
  std::string bytes;
  for (std::uint32_t number = 0; number < count; ++number) {
    const _HubProfileReport next = report(8, 3, 5, 0).sequence(number).count_up();
    bytes.append(reinterpret_cast<const char*>(&next), sizeof next);
  }
  return bytes;
}

std::string bytes_of(std::span<const _HubProfileReport> reports) {
  return {reinterpret_cast<const char*>(reports.data()), reports.size_bytes()};
}

// A pipe whose reads give one write each, never more, so that the pieces that a reader gets are known.
class PieceWisePipe {
 public:
  PieceWisePipe() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC | O_DIRECT), 0);
    reader_ = Descriptor(ends[0]);
    writer_ = Descriptor(ends[1]);
    constexpr int kRoomForManyPieces = 1 << 20;
    EXPECT_GE(fcntl(ends[1], F_SETPIPE_SZ, kRoomForManyPieces), kRoomForManyPieces);
  }

  [[nodiscard]] int reader() const { return reader_.number(); }

  void write(std::string_view bytes) { host::write_all(writer_.number(), bytes); }

  void write_in_pieces(std::string_view bytes, std::size_t piece_bytes) {
    for (; !bytes.empty(); bytes.remove_prefix(std::min(piece_bytes, bytes.size()))) {
      write(bytes.substr(0, piece_bytes));
    }
  }

  void end() { writer_.close(); }

 private:
  Descriptor reader_;
  Descriptor writer_;
};

// A source that gives these pieces, one a read, and then ends.
class Pieces : public ByteSource {
 public:
  struct Piece {
    std::string bytes;
    ByteOrigin origin;
  };

  explicit Pieces(std::vector<Piece> pieces) : pieces_(std::move(pieces)) {}

  ReadBytes read_some(std::span<std::byte> room) override {
    if (next_ == pieces_.size()) {
      return {};
    }
    const Piece& piece = pieces_[next_++];
    EXPECT_LE(piece.bytes.size(), room.size());
    std::copy(piece.bytes.begin(), piece.bytes.end(), reinterpret_cast<char*>(room.data()));
    return {piece.bytes.size(), piece.origin};
  }

  bool would_wait() override { return false; }

 private:
  std::vector<Piece> pieces_;
  std::size_t next_ = 0;
};

class ReportReaderTest : public ::testing::Test {
 protected:
  // A reader that waits for more than there is ends the test.
  void SetUp() override { alarm(60); }
  void TearDown() override { alarm(0); }

  // An open file with these bytes.
  static Descriptor file(std::string_view bytes) {
    Descriptor created(memfd_create("capture", MFD_CLOEXEC));
    host::write_all(created.number(), bytes);
    EXPECT_EQ(lseek(created.number(), 0, SEEK_SET), 0);
    return created;
  }

  // All that a reader hands out up to the end, as bytes.
  static std::string read_to_end(ReportReader& reader) {
    std::string bytes;
    for (auto reports = reader.next(); !reports.empty(); reports = reader.next()) {
      bytes += bytes_of(reports);
    }
    return bytes;
  }

  static int reason_of_failure(int descriptor) {
    ReportReader reader(descriptor);
    try {
      reader.next();
    } catch (const std::system_error& error) {
      return error.code().value();
    }
    return 0;
  }
};

TEST_F(ReportReaderTest, end_at_once_gives_no_report_and_nothing_left_over) {
  const Descriptor input = file("");
  ReportReader reader(input.number());
  EXPECT_TRUE(reader.next().empty());
  EXPECT_EQ(reader.offset_bytes(), 0U);
  EXPECT_EQ(reader.left_over_bytes(), 0U);
}

TEST_F(ReportReaderTest, reports_in_pieces_of_every_size_are_handed_out_whole) {
  const std::string bytes = capture(4);
  for (std::size_t piece_bytes = 1; piece_bytes <= bytes.size(); ++piece_bytes) {
    PieceWisePipe pipe;
    pipe.write_in_pieces(bytes, piece_bytes);
    pipe.end();
    ReportReader reader(pipe.reader());
    EXPECT_EQ(read_to_end(reader), bytes) << piece_bytes;
    EXPECT_EQ(reader.offset_bytes(), bytes.size()) << piece_bytes;
    EXPECT_EQ(reader.left_over_bytes(), 0U) << piece_bytes;
  }
}

TEST_F(ReportReaderTest, report_is_handed_out_with_its_last_piece_while_the_input_stays_open) {
  const std::string bytes = capture(1);
  for (std::size_t piece_bytes = 1; piece_bytes <= kReportSize; ++piece_bytes) {
    PieceWisePipe pipe;
    pipe.write_in_pieces(bytes, piece_bytes);
    ReportReader reader(pipe.reader());
    EXPECT_EQ(bytes_of(reader.next()), bytes) << piece_bytes;
  }
}

TEST_F(ReportReaderTest, whole_reports_are_handed_out_before_the_one_that_has_begun) {
  const std::string bytes = capture(3);
  PieceWisePipe pipe;
  pipe.write(bytes.substr(0, 2 * kReportSize + 20));
  ReportReader reader(pipe.reader());
  EXPECT_EQ(bytes_of(reader.next()), bytes.substr(0, 2 * kReportSize));
  pipe.write(bytes.substr(2 * kReportSize + 20));
  EXPECT_EQ(bytes_of(reader.next()), bytes.substr(2 * kReportSize));
}

TEST_F(ReportReaderTest, every_truncation_hands_out_the_whole_reports_and_tells_the_bytes_left_over) {
  const std::string bytes = capture(3);
  for (std::size_t length_bytes = 0; length_bytes <= bytes.size(); ++length_bytes) {
    const std::size_t left_over_bytes = length_bytes % kReportSize;
    const Descriptor input = file(bytes.substr(0, length_bytes));
    ReportReader reader(input.number());
    EXPECT_EQ(read_to_end(reader), bytes.substr(0, length_bytes - left_over_bytes)) << length_bytes;
    EXPECT_EQ(reader.offset_bytes(), length_bytes - left_over_bytes) << length_bytes;
    EXPECT_EQ(reader.left_over_bytes(), left_over_bytes) << length_bytes;
  }
}

TEST_F(ReportReaderTest, truncation_in_pieces_of_a_byte_is_told_as_well) {
  const std::string bytes = capture(2);
  for (std::size_t length_bytes = 0; length_bytes <= bytes.size(); ++length_bytes) {
    PieceWisePipe pipe;
    pipe.write_in_pieces(bytes.substr(0, length_bytes), 1);
    pipe.end();
    ReportReader reader(pipe.reader());
    EXPECT_EQ(read_to_end(reader), bytes.substr(0, length_bytes - length_bytes % kReportSize)) << length_bytes;
    EXPECT_EQ(reader.left_over_bytes(), length_bytes % kReportSize) << length_bytes;
  }
}

TEST_F(ReportReaderTest, offset_counts_what_has_been_handed_out) {
  PieceWisePipe pipe;
  ReportReader reader(pipe.reader());
  EXPECT_EQ(reader.offset_bytes(), 0U);
  pipe.write(capture(1) + "x");
  reader.next();
  EXPECT_EQ(reader.offset_bytes(), 48U);
  pipe.write(capture(3).substr(1));
  reader.next();
  EXPECT_EQ(reader.offset_bytes(), 192U);
}

TEST_F(ReportReaderTest, input_of_many_blocks_is_handed_out_in_order_and_block_by_block) {
  const std::string bytes = capture(5000);
  const Descriptor input = file(bytes);
  ReportReader reader(input.number());
  const std::string first = bytes_of(reader.next());
  EXPECT_LT(first.size(), bytes.size());
  EXPECT_TRUE(first + read_to_end(reader) == bytes);
  EXPECT_EQ(reader.offset_bytes(), bytes.size());
}

TEST_F(ReportReaderTest, reports_across_the_ends_of_blocks_are_handed_out_whole) {
  const std::string bytes = capture(5000) + "left over";
  PieceWisePipe pipe;
  // Pieces that no number of reports and no block is a multiple of.
  std::jthread writer([&] {
    pipe.write_in_pieces(bytes, 4093);
    pipe.end();
  });
  ReportReader reader(pipe.reader());
  EXPECT_TRUE(read_to_end(reader) == bytes.substr(0, 5000 * kReportSize));
  EXPECT_EQ(reader.left_over_bytes(), 9U);
}

TEST_F(ReportReaderTest, end_that_was_reached_stays_reached) {
  const Descriptor input = file(capture(1) + "abc");
  ReportReader reader(input.number());
  read_to_end(reader);
  EXPECT_TRUE(reader.next().empty());
  EXPECT_EQ(reader.offset_bytes(), kReportSize);
  EXPECT_EQ(reader.left_over_bytes(), 3U);
}

TEST_F(ReportReaderTest, file_is_read_from_where_it_stands) {
  const std::string bytes = capture(3);
  const Descriptor input = file(bytes);
  lseek(input.number(), kReportSize, SEEK_SET);
  ReportReader reader(input.number());
  EXPECT_EQ(read_to_end(reader), bytes.substr(kReportSize));
  EXPECT_EQ(reader.offset_bytes(), 2 * kReportSize);
}

TEST_F(ReportReaderTest, input_that_does_not_block_is_waited_for) {
  PieceWisePipe pipe;
  fcntl(pipe.reader(), F_SETFL, fcntl(pipe.reader(), F_GETFL) | O_NONBLOCK);
  std::jthread writer([&] {
    pipe.write_in_pieces(capture(100), 30);
    pipe.end();
  });
  ReportReader reader(pipe.reader());
  EXPECT_EQ(read_to_end(reader), capture(100));
}

TEST_F(ReportReaderTest, descriptor_that_cannot_be_read_fails_with_the_reason) {
  const Descriptor folder(open("/", O_RDONLY | O_CLOEXEC));
  const Descriptor write_only(open("/dev/null", O_WRONLY | O_CLOEXEC));
  EXPECT_EQ(reason_of_failure(folder.number()), EISDIR);
  EXPECT_EQ(reason_of_failure(write_only.number()), EBADF);
  EXPECT_EQ(reason_of_failure(-1), EBADF);
}

TEST_F(ReportReaderTest, would_wait_tells_whether_a_whole_report_is_there) {
  const std::string bytes = capture(2);
  PieceWisePipe pipe;
  ReportReader reader(pipe.reader());
  EXPECT_TRUE(reader.would_wait());
  pipe.write_in_pieces(bytes.substr(0, kReportSize - 1), 10);
  EXPECT_TRUE(reader.would_wait());
  pipe.write(bytes.substr(kReportSize - 1, 2));
  EXPECT_FALSE(reader.would_wait());
  EXPECT_EQ(bytes_of(reader.next()), bytes.substr(0, kReportSize));
  EXPECT_TRUE(reader.would_wait());
  pipe.write(bytes.substr(kReportSize + 1));
  EXPECT_EQ(bytes_of(reader.next()), bytes.substr(kReportSize));
}

TEST_F(ReportReaderTest, would_not_wait_at_the_end) {
  PieceWisePipe pipe;
  pipe.write("left over");
  pipe.end();
  ReportReader reader(pipe.reader());
  EXPECT_FALSE(reader.would_wait());
  EXPECT_FALSE(reader.would_wait());
  EXPECT_EQ(reader.left_over_bytes(), 9U);
}

TEST_F(ReportReaderTest, end_that_would_wait_has_met_is_not_read_again) {
  Pieces source({{"", ByteOrigin::kSame}, {capture(1), ByteOrigin::kSame}});
  ReportReader reader(source);
  EXPECT_FALSE(reader.would_wait());
  EXPECT_TRUE(reader.next().empty());
}

class ReportReaderDropTest : public ReportReaderTest {
 protected:
  // All reports of these pieces, as bytes; what is told is in told_.
  std::string read(std::vector<Pieces::Piece> pieces) {
    Pieces source(std::move(pieces));
    ReportReader reader(source, [this](const std::string& text) { told_ += text + "\n"; });
    std::string bytes = read_to_end(reader);
    left_over_bytes_ = reader.left_over_bytes();
    return bytes;
  }

  const std::string bytes_ = capture(3);
  std::string told_;
  std::size_t left_over_bytes_ = 0;
};

TEST_F(ReportReaderDropTest, source_that_begins_anew_between_reports_drops_nothing) {
  EXPECT_EQ(read({{bytes_, ByteOrigin::kSame}, {bytes_, ByteOrigin::kNextFile}}), bytes_ + bytes_);
  EXPECT_EQ(told_, "");
}

TEST_F(ReportReaderDropTest, source_that_begins_anew_inside_a_report_drops_it_at_every_length) {
  for (std::size_t length_bytes = 1; length_bytes < kReportSize; ++length_bytes) {
    EXPECT_EQ(read({{bytes_.substr(0, length_bytes), ByteOrigin::kSame}, {bytes_, ByteOrigin::kCutFile}}), bytes_);
    EXPECT_EQ(left_over_bytes_, 0U);
  }
}

TEST_F(ReportReaderDropTest, what_is_dropped_is_told_with_its_reason_place_and_length) {
  read({{bytes_.substr(0, 2 * kReportSize + 20), ByteOrigin::kSame},
        {bytes_.substr(0, kReportSize + 1), ByteOrigin::kNextFile},
        {bytes_.substr(0, 47), ByteOrigin::kCutFile},
        {bytes_, ByteOrigin::kNextWriter}});
  EXPECT_EQ(
      told_,
      "was replaced inside a record: at offset 96, 20 bytes are dropped of the 48 that a record has\n"
      "was cut short inside a record: at offset 48, 1 byte is dropped of the 48 that a record has\n"
      "was closed by its writer inside a record: at offset 0, 47 bytes are dropped of the 48 that a record has\n");
}

TEST_F(ReportReaderDropTest, new_beginning_that_comes_in_pieces_is_put_together) {
  EXPECT_EQ(read({{"abc", ByteOrigin::kSame},
                  {bytes_.substr(0, 1), ByteOrigin::kNextFile},
                  {bytes_.substr(1, 50), ByteOrigin::kSame},
                  {bytes_.substr(51), ByteOrigin::kSame}}),
            bytes_);
}

TEST_F(ReportReaderDropTest, without_a_listener_it_is_dropped_as_well) {
  Pieces source({{"abc", ByteOrigin::kSame}, {bytes_, ByteOrigin::kNextFile}});
  ReportReader reader(source);
  EXPECT_EQ(read_to_end(reader), bytes_);
}

TEST_F(ReportReaderTest, descriptor_stays_open_for_its_owner) {
  const Descriptor input = file("");
  { ReportReader(input.number()).next(); }
  EXPECT_GE(fcntl(input.number(), F_GETFD), 0);
}

}  // namespace
}  // namespace hub::test
