// SPDX-License-Identifier: MIT
// A writer publishing at 10 kHz, readers in three processes, and the writer killed in the
// middle and replaced: time on the readers' clocks never goes back and their readings never
// fail, except for the moment a new writer starts over.
#include "HostFixture.h"

#include "tests/support/UniqueName.h"
#include "tools/common/ChildProcess.h"

#include <memory>
#include <thread>

namespace {

using Soak = FactoryHostTest;

TEST_F(Soak, ReadersSurviveAWriterKilledAndReplaced) {
  const std::string name = UniqueName("volm-soak");
  const std::string helper = SiblingProgram("volm_host_helper");
  ChildProcess first(helper, {"publish-fast", name, "60000", "100"});
  Ref<IClock> clock;
  std::uint64_t time = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::chrono::steady_clock::now() < deadline &&
         (factory_->CreateSynchronizedClock(WideOf(name).c_str(), clock.Out()) != VOLM_S_OK ||
          clock->GetTime(&time) != VOLM_S_OK)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ASSERT_GT(time, 0u) << "the writer never published";
  std::vector<std::unique_ptr<ChildProcess>> readers;
  for (int i = 0; i < 3; ++i) {
    readers.push_back(std::make_unique<ChildProcess>(
        helper, std::vector<std::string>{"read-monotonic", name, "3000"}));
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(1000));
  first.Kill();  // a crash: no clean-up, the store stays with the readers
  ASSERT_TRUE(first.Wait(10'000).has_value());
  ChildProcess second(helper, {"publish-fast", name, "2500", "100"});
  for (auto& reader : readers) EXPECT_EQ(reader->Wait(30'000), 0);
  EXPECT_EQ(second.Wait(30'000), 0);
}

}  // namespace
