// Bundle operations of one transaction, each beside the same work done
// with the standard library: filling a 40-field bundle, its text form
// without the "_" fields, and merging a 10-field reply into it.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "BHashTable.h"
#include "BString.h"
#include "gatewayMessage.h"
#include "memTrack.h"

namespace {

using StdBundle = std::unordered_map<std::string, std::string>;

const int kBundleFields = 40;
const int kReplyFields = 10;
// Bundles made ahead for one batch of merges, so that making them is
// paused once per batch rather than around every merge.
const int kBatch = 512;

struct Field {
  std::string name, value;
};

// A merchant's request: settings, card data, amounts and order data.
const std::vector<Field>& requestFields() {
  static const std::vector<Field> fields = [] {
    std::vector<Field> f = {{"_CERTIFICATEPATH", "/etc/zelvan/merchant-10000001.p12"},
                            {"_CERTIFICATEPASSWORD", "s3cret-passw0rd"},
                            {"_CAFILE", "/etc/zelvan/gateway-ca.pem"},
                            {"_OPENSSL_VERSION", "OpenSSL 3.0.19 27 Jan 2026"},
                            {"CLIENTID", "10000001"},
                            {"TRANSACTIONTYPE", "PURCHASE"},
                            {"CARDDATA", "4111111111111111"},
                            {"CARDEXPIRYDATE", "1230"},
                            {"CVC2", "123"},
                            {"AMOUNT", "12.50"},
                            {"CURRENCY", "EUR"}};
    char name[32], value[48];
    for (int i = static_cast<int>(f.size()); i < kBundleFields; ++i) {
      std::snprintf(name, sizeof name, "ORDERFIELD%02d", i);
      std::snprintf(value, sizeof value, "order detail number %d", i * 7919);
      f.push_back({name, value});
    }
    return f;
  }();
  return fields;
}

// The gateway's final response: ten fields, none of them in the request.
const std::string& replyText() {
  static const std::string text =
      "TXNREFERENCE=ZS3FA2C1000001\r\nRESULT=0\r\nAUTHCODE=A00001\r\nRESPONSECODE=00\r\n"
      "RESPONSETEXT=APPROVED\r\nWIRE_TIME=3\r\nSETTLEMENTDATE=20260127\r\nACQUIRERREF=7712001\r\n"
      "CARDTYPE=VISA\r\nMERCHANTREF=bench-1\r\n" +
      std::string(kEndMarker);
  return text;
}

std::unique_ptr<BHashTable> filledBundle() {
  std::unique_ptr<BHashTable> bundle(new BHashTable());
  for (const Field& f : requestFields()) bundle->put(f.name.c_str(), f.value.c_str());
  return bundle;
}

StdBundle filledStdBundle() {
  StdBundle bundle;
  for (const Field& f : requestFields()) bundle[f.name] = f.value;
  return bundle;
}

// The wire text of a standard map, "_" fields left out.
std::string stdTextForm(const StdBundle& bundle) {
  std::string text;
  for (const auto& [name, value] : bundle) {
    if (name.compare(0, 1, "_") == 0) continue;
    text += name;
    text += '=';
    text += value;
    text += "\r\n";
  }
  return text;
}

// Merges a reply into a standard map: lines broken at CR LF, CR or LF;
// a line counts when it holds exactly one "=" with text on both sides.
void stdMerge(const std::string& text, StdBundle* bundle) {
  size_t at = 0;
  while (at < text.size()) {
    size_t end = text.find_first_of("\r\n", at);
    if (end == std::string::npos) end = text.size();
    size_t equals = text.find('=', at);
    if (equals > at && equals + 1 < end && text.find('=', equals + 1) >= end) {
      (*bundle)[text.substr(at, equals - at)] = text.substr(equals + 1, end - equals - 1);
    }
    at = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
  }
}

void BM_FillBundle(benchmark::State& state) {
  for (auto _ : state) {
    std::unique_ptr<BHashTable> bundle = filledBundle();
    benchmark::DoNotOptimize(bundle.get());
  }
}

void BM_FillStdMap(benchmark::State& state) {
  for (auto _ : state) {
    StdBundle bundle = filledStdBundle();
    benchmark::DoNotOptimize(bundle);
  }
}

void BM_TextFormBundle(benchmark::State& state) {
  std::unique_ptr<BHashTable> bundle = filledBundle();
  for (auto _ : state) {
    BString* text = bundle->toString("_");
    benchmark::DoNotOptimize(text->buffer());
    trackDelete(text);
  }
}

void BM_TextFormStdString(benchmark::State& state) {
  StdBundle bundle = filledStdBundle();
  for (auto _ : state) {
    std::string text = stdTextForm(bundle);
    benchmark::DoNotOptimize(text);
  }
}

// Each merge goes into a freshly filled bundle, as a reply does.
template <class Bundle, class Fill, class Merge>
void mergeInBatches(benchmark::State& state, Fill fill, Merge merge) {
  std::vector<Bundle> bundles;
  size_t next = kBatch;
  for (auto _ : state) {
    if (next == kBatch) {
      state.PauseTiming();
      bundles.clear();
      for (int i = 0; i < kBatch; ++i) bundles.push_back(fill());
      next = 0;
      state.ResumeTiming();
    }
    merge(bundles[next++]);
  }
}

void BM_MergeReplyBundle(benchmark::State& state) {
  mergeInBatches<std::unique_ptr<BHashTable>>(state, filledBundle, [](std::unique_ptr<BHashTable>& b) {
    benchmark::DoNotOptimize(b->addAll(replyText().c_str()));
  });
}

void BM_MergeReplyStdMap(benchmark::State& state) {
  mergeInBatches<StdBundle>(state, filledStdBundle, [](StdBundle& b) {
    stdMerge(replyText(), &b);
    benchmark::DoNotOptimize(b);
  });
}

}  // namespace

BENCHMARK(BM_FillBundle);
BENCHMARK(BM_FillStdMap);
BENCHMARK(BM_TextFormBundle);
BENCHMARK(BM_TextFormStdString);
BENCHMARK(BM_MergeReplyBundle);
BENCHMARK(BM_MergeReplyStdMap);

BENCHMARK_MAIN();
