// Two threads purchase at once, each logging to a file of its own: every
// line of a file, the response reader's included, belongs to that
// thread's transactions.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>
#include <thread>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "clientTestSupport.h"

namespace {

constexpr int kPurchases = 20;

// The transaction numbers of a log ("%08d": eight digits or more): those
// of the transactions that opened the file, in order, and those of every
// line.
struct LogNumbers {
  std::vector<std::string> opened;
  std::multiset<std::string> lines;
};

// A line's number sits between tabs after its time stamp; the line that
// opens the file for a transaction is a row of dashes.
LogNumbers numbersOf(const std::string& log) {
  static const std::regex kNumbered(R"(\t\[(\d{8,})\]\t(----------------------------------\r\n)?)");
  LogNumbers numbers;
  for (std::sregex_iterator it(log.begin(), log.end(), kNumbered), end; it != end; ++it) {
    numbers.lines.insert((*it)[1]);
    if ((*it)[2].matched) numbers.opened.push_back((*it)[1]);
  }
  return numbers;
}

}  // namespace

TEST(ThreadLog, EachThreadsFileHoldsOnlyItsOwnTransactions) {
  TestCertificates certs;
  SessionStoreGuard store(certs);
  GatewaySim sim(certs);
  TempDir dir;
  const std::string paths[2] = {dir.file("first.log"), dir.file("second.log")};
  int approved[2] = {0, 0};

  auto purchases = [&](int thread) {
    for (int i = 0; i < kPurchases; i++) {
      MerchantTxn txn(certs, sim.port(), paths[thread]);
      if (txn.execute() == 1 && txn.field("RESULT") == "0") approved[thread]++;
    }
  };
  std::thread first(purchases, 0), second(purchases, 1);
  first.join();
  second.join();

  LogNumbers numbers[2];
  for (int n = 0; n < 2; n++) {
    EXPECT_EQ(approved[n], kPurchases);
    std::string log = readFile(paths[n]);
    numbers[n] = numbersOf(log);
    EXPECT_EQ(numbers[n].opened.size(), static_cast<size_t>(kPurchases)) << paths[n];
    // Two replies read per purchase, each read logged in its own file.
    EXPECT_EQ(countOf(log, "\t\tdoing SSL Read\r\n"), 2u * kPurchases) << paths[n];
    EXPECT_EQ(countOf(log, "\t\tFinished SSL Read\r\n"), 2u * kPurchases) << paths[n];
  }
  for (int n = 0; n < 2; n++) {
    std::set<std::string> own(numbers[n].opened.begin(), numbers[n].opened.end());
    for (const std::string& number : numbers[n].lines) {
      EXPECT_EQ(own.count(number), 1u) << paths[n] << " holds a line of transaction " << number;
    }
    for (const std::string& number : numbers[1 - n].opened) {
      EXPECT_EQ(own.count(number), 0u) << "transaction " << number << " in both files";
    }
  }
}
