// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/bench/virtual_reader.hpp"

#include <fmt/core.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::RawClient;
using test::reply;
using test::request;
using ::testing::HasSubstr;

std::string complaint_about(const Options& options) {
  try {
    const VirtualReader reader(options);
    return {};
  } catch (const Error& error) {
    return error.what();
  }
}

TEST(VirtualReader, removes_its_files) {
  std::filesystem::path configuration;
  std::filesystem::path socket;
  {
    const VirtualReader reader;
    configuration = reader.configuration();
    socket = reader.socket();
    EXPECT_TRUE(std::filesystem::exists(configuration));
    EXPECT_TRUE(std::filesystem::exists(socket));
  }
  EXPECT_FALSE(std::filesystem::exists(configuration));
  EXPECT_FALSE(std::filesystem::exists(socket));
  EXPECT_FALSE(std::filesystem::exists(configuration.parent_path()));
}

TEST(VirtualReader, puts_its_files_where_it_is_told) {
  const TemporaryFolder folder;
  Options options;
  options.configuration = folder.path() / "configuration";
  options.socket = folder.path() / "socket";
  {
    const VirtualReader reader(options);
    EXPECT_EQ(reader.configuration(), options.configuration);
    EXPECT_EQ(reader.socket(), options.socket);
    EXPECT_TRUE(std::filesystem::exists(options.socket));
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(VirtualReader, overwrites_a_configuration_file_that_another_left_but_no_other_file) {
  const TemporaryFolder folder;
  Options options;
  options.configuration = folder.path() / "configuration";
  const auto copy = folder.path() / "copy";
  {
    const VirtualReader reader(options);
    std::filesystem::copy_file(options.configuration, copy);
  }
  std::filesystem::rename(copy, options.configuration);
  EXPECT_EQ(complaint_about(options), "");
  test::write_file(options.configuration, "");
  EXPECT_EQ(complaint_about(options), "");
  test::write_file(options.configuration, "precious");
  EXPECT_EQ(complaint_about(options),
            options.configuration.string() + ": there is another file of that name");
  EXPECT_EQ(test::content_of(options.configuration), "precious");
}

// What is said of a file that this process uses already.
std::string in_use(const std::filesystem::path& path) {
  return fmt::format("{}: in use by another virtual reader (process {})", path.string(),
                     ::getpid());
}

TEST(VirtualReader, has_its_configuration_file_for_itself) {
  const TemporaryFolder folder;
  Options options;
  options.configuration = folder.path() / "configuration";
  {
    RunningReader reader(options);
    EXPECT_EQ(complaint_about(options), in_use(options.configuration));
    Fault fault;
    fault.kind = FaultKind::hang_up;
    reader->arm(fault);
    {
      const RawClient host(options.configuration);
      host.send(request(0xB9, "80 00 00 00 00"));
      EXPECT_TRUE(host.sees_hang_up());
    }
    EXPECT_EQ(complaint_about(options), in_use(options.configuration));
    const RawClient host(options.configuration);
    EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(0, "00"));
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(VirtualReader, removes_nothing_but_its_own_files) {
  const TemporaryFolder folder;
  Options options;
  options.configuration = folder.path() / "configuration";
  options.socket = folder.path() / "socket";
  {
    const VirtualReader reader(options);
    for (const auto& path : {options.configuration, options.socket}) {
      std::filesystem::remove(path);
      test::write_file(path, "precious");
    }
  }
  for (const auto& path : {options.configuration, options.socket}) {
    EXPECT_EQ(test::content_of(path), "precious");
    std::filesystem::remove(path);
  }
  {
    const VirtualReader reader(options);
    for (const auto& path : {options.configuration, options.socket}) {
      std::filesystem::remove(path);
      std::filesystem::create_directory(path);
    }
  }
  EXPECT_TRUE(std::filesystem::is_directory(options.configuration));
  EXPECT_TRUE(std::filesystem::is_directory(options.socket));
}

TEST(VirtualReader, needs_no_control_socket) {
  Options options;
  options.has_control_socket = false;
  RunningReader reader(options);
  EXPECT_EQ(reader->socket(), "");
  const auto folder = reader->configuration().parent_path();
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
  const RawClient host(reader->configuration());
  EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(0, "00"));
}

TEST(VirtualReader, refuses_options_that_make_no_sense) {
  Options options;
  options.version_text = "";
  EXPECT_EQ(complaint_about(options), "the version text must be 1 to 18 printable characters");
  options.version_text = std::string(19, 'x');
  EXPECT_EQ(complaint_about(options), "the version text must be 1 to 18 printable characters");
  options = {};
  options.serial_number = "short";
  EXPECT_EQ(complaint_about(options), "the serial number must be 16 printable characters");
  options.serial_number = "0123456789ABCDE\n";
  EXPECT_EQ(complaint_about(options), "the serial number must be 16 printable characters");
  options = {};
  options.speed = 10'000'001;
  EXPECT_THAT(complaint_about(options), HasSubstr("the speed must be at most"));
  options = {};
  options.card = "/nowhere/card";
  EXPECT_EQ(complaint_about(options), "/nowhere/card: cannot open: No such file or directory");
}

TEST(VirtualReader, stops_before_it_runs_and_while_it_runs) {
  VirtualReader stopped;
  stopped.stop();
  stopped.run();

  VirtualReader running;
  std::thread thread([&running] { running.run(); });
  const RawClient host(running.configuration());
  EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(0, "00"));
  running.stop();
  thread.join();
}

class Cards : public ::testing::Test {
 protected:
  static std::string complaint(RunningReader& reader, const std::filesystem::path& file) {
    try {
      reader->insert(file);
      return {};
    } catch (const Error& error) {
      return error.what();
    }
  }

  TemporaryFolder folder;
  std::filesystem::path card = test::new_card(folder, "cpu");
};

TEST_F(Cards, are_in_one_reader_at_a_time) {
  RunningReader first;
  RunningReader second;
  EXPECT_EQ(complaint(first, card), "");
  EXPECT_EQ(complaint(second, card), in_use(card));
  first->remove();
  EXPECT_EQ(complaint(second, card), "");
  EXPECT_EQ(complaint(first, card), in_use(card));
  const RawClient host(second->configuration());
  EXPECT_EQ(host.exchange(request(0xB8, "80 00 00 00 00")), reply(0));
  EXPECT_EQ(complaint(first, card), "");
}

TEST_F(Cards, are_in_one_slot_of_a_reader) {
  Options options;
  options.sams[3] = card;
  RunningReader reader(options);
  EXPECT_EQ(complaint(reader, card), in_use(card));
  EXPECT_FALSE(reader->state().card_present);
  EXPECT_EQ(complaint(reader, test::new_card(folder, "cpu", "other")), "");
}

TEST(VirtualReader, is_handled_while_it_runs) {
  const TemporaryFolder folder;
  RunningReader reader;
  const RawClient host(reader->configuration());
  reader->insert(test::new_card(folder, "4442"));
  EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(0, "01"));
  ASSERT_TRUE(reader->state().card);
  EXPECT_EQ(reader->state().card->field("counter").front(), 7);
  EXPECT_FALSE(reader->state().card_powered);
  host.exchange(request(0xB2, "80 00 00 00 00"));
  EXPECT_TRUE(reader->state().card_powered);
  reader->remove();
  EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(0, "00"));
  EXPECT_THROW(reader->remove(), Error);

  Fault fault;
  fault.kind = FaultKind::status;
  reader->arm(fault);
  EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(5));
  fault.every = 1;
  reader->arm(fault);
  reader->clear_faults();
  EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(0, "00"));
}

}  // namespace
}  // namespace quorra::simulator
