#pragma once

/// \file
/// What tests of passes in parts need: models, record files, and a runner whose workers are spread
/// over parts.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <ios>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/qvreg/c/CHost.h"
#include "tests/qvreg/support/RandomModels.h"
#include "tests/qvreg/support/VectorParts.h"
#include "tests/support/TempFolder.h"

namespace qvtest {

/// A record file of a test, which is removed with it.
class CRecordFile {
 public:
  explicit CRecordFile(const std::vector<QvCommon::Record>& records) { Write(records); }

  /// Writes the records in place of those before, and then `rest` bytes more.
  void Write(const std::vector<QvCommon::Record>& records, std::size_t rest = 0) const {
    std::ofstream file(path_, std::ios::binary);
    for (const QvCommon::Record& record : records) {
      const auto bytes = static_cast<std::streamsize>(sizeof(double)) *
                         static_cast<std::streamsize>(record.Size());
      file.write(reinterpret_cast<const char*>(record.GetAll()), bytes);
    }
    file << std::string(rest, 'x');
    if (!file.flush()) throw std::runtime_error("could not write a record file");
  }
  [[nodiscard]] const std::filesystem::path& Path() const { return path_; }
  void Remove() const { std::filesystem::remove(path_); }

  [[nodiscard]] CSource Source(std::size_t width) const {
    const std::u8string path = path_.u8string();
    return Made<CSource>([&](qvreg_source** source, qvreg_error* e) {
      return qvreg_source_open_file(reinterpret_cast<const char*>(path.c_str()), width, source, e);
    });
  }

 private:
  TempFolder folder_;
  std::filesystem::path path_ = folder_.Path() / u8"qvreg größe 測.bin";
};

[[nodiscard]] inline CBytes CBytesOf(const std::vector<unsigned char>& bytes) {
  return Made<CBytes>([&](qvreg_bytes** made, qvreg_error* e) {
    return qvreg_bytes_create(bytes.data(), bytes.size(), made, e);
  });
}

[[nodiscard]] inline std::vector<unsigned char> DataOf(const qvreg_bytes* bytes) {
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
  Require([&](qvreg_error* e) { return qvreg_bytes_get_data(bytes, &data, &size, e); });
  return {data, data + size};
}

/// Workers over records that are divided into parts. Requests and answers travel as copies of their
/// bytes and nothing else. Outlives the settings that it is told to.
class CCluster {
 public:
  CCluster(const std::vector<QvCommon::Record>& records, std::size_t parts, std::size_t workers) {
    const VectorParts divided(records, parts);
    for (int part = 0; part < divided.GetPartCount(); ++part) {
      feeds_.push_back(std::make_unique<CRecordFeed>(divided.Part(part)));
      sources_.push_back(feeds_.back()->Source());
    }
    for (std::size_t i = 0; i < workers; ++i) {
      workers_.push_back(Made<CWorker>([](auto... rest) { return qvreg_worker_create(rest...); }));
    }
  }

  void SetIn(const CSettings& settings) {
    Require(
        [&](qvreg_error* e) { return qvreg_settings_set_runner(settings.get(), &Run, this, e); });
  }
  /// The callback; `user` is a CCluster.
  static std::int32_t Run(void* user, const qvreg_bytes* request, qvreg_bytes** answer) {
    auto& self = *static_cast<CCluster*>(user);
    self.requests_.push_back(DataOf(request));
    std::vector<CBytes> answers;
    for (std::size_t i = 0; i < self.feeds_.size(); ++i) {
      answers.push_back(self.Answer(request, i));
    }
    while (answers.size() > 1) answers = self.MergedPairs(request, answers);
    *answer = answers.front().release();
    return 0;
  }

  [[nodiscard]] CRecordFeed& Feed(std::size_t part) { return *feeds_[part]; }
  [[nodiscard]] const CWorker& Worker(std::size_t worker) const { return workers_[worker]; }
  /// The requests of the passes so far.
  [[nodiscard]] const std::vector<std::vector<unsigned char>>& Requests() const {
    return requests_;
  }
  /// What a worker answers for a part.
  [[nodiscard]] CBytes Answer(const qvreg_bytes* request, std::size_t part) const {
    const CBytes copy = CBytesOf(DataOf(request));
    return Made<CBytes>([&](qvreg_bytes** answer, qvreg_error* e) {
      return qvreg_worker_run(workers_[part % workers_.size()].get(), copy.get(),
                              static_cast<std::int32_t>(part), sources_[part].get(), answer, e);
    });
  }

 private:
  [[nodiscard]] std::vector<CBytes> MergedPairs(const qvreg_bytes* request,
                                                std::vector<CBytes>& answers) const {
    std::vector<CBytes> merged;
    for (std::size_t i = 0; i < answers.size(); i += 2) {
      if (i + 1 == answers.size()) {
        merged.push_back(std::move(answers[i]));
        continue;
      }
      merged.push_back(Made<CBytes>([&](qvreg_bytes** pair, qvreg_error* e) {
        return qvreg_worker_merge(workers_[i % workers_.size()].get(), request, answers[i].get(),
                                  answers[i + 1].get(), pair, e);
      }));
    }
    return merged;
  }

  std::vector<std::unique_ptr<CRecordFeed>> feeds_;
  std::vector<CSource> sources_;
  std::vector<CWorker> workers_;
  std::vector<std::vector<unsigned char>> requests_;
};

}  // namespace qvtest
