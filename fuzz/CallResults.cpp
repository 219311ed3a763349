#include <algorithm>
#include <array>
#include <stdexcept>

#include "fuzz/CallSession.h"

namespace qvfuzz {

void CallSession::CallResults() {
  const qvreg_results* results = Pick(results_);
  switch (Below(13)) {
    case 0: {
      auto summary = Sized<qvreg_summary>();
      Run([&](auto* e) { return qvreg_results_get_summary(results, &summary, e); });
      return;
    }
    case 1: {
      double value = 0.0;
      Run([&](auto* e) { return qvreg_results_get_fit_stat(results, Below(7) - 1, &value, e); });
      return;
    }
    case 2:
      return List<double>(
          [&](auto... list) { return qvreg_results_get_estimates(results, list...); });
    case 3:
      return List<std::int32_t>([&](auto... list) {
        return data_.ConsumeBool() ? qvreg_results_get_redundant(results, list...)
                                   : qvreg_results_get_non_finite(results, list...);
      });
    case 4:
      return List<double>([&](auto... list) { return qvreg_results_get_means(results, list...); });
    case 5: {
      double value = 0.0;
      Run([&](auto* e) {
        return qvreg_results_get_covariance(results, Capacity(), Capacity(), &value, e);
      });
      return;
    }
    case 6:
      return List<double>([&](auto... list) {
        return data_.ConsumeBool() ? qvreg_results_get_covariance_packed(results, list...)
                                   : qvreg_scaled_get_covariance_packed(results, list...);
      });
    case 7: {
      const std::size_t stride = Capacity();
      return List<double>([&](auto* buffer, auto... rest) {
        return qvreg_results_get_covariance_full(results, buffer, stride, rest...);
      });
    }
    case 8: {
      const auto weighted = std::make_unique<double[]>(40);
      return List<double>([&](auto* buffer, auto... rest) {
        return data_.ConsumeBool()
                   ? qvreg_results_get_factor_counts(results, Below(3) - 1, weighted.get(), buffer,
                                                     rest...)
                   : qvreg_results_get_dependent_counts(results, weighted.get(), buffer, rest...);
      });
    }
    case 9:
      return Make(parameters_, [&](auto** made, qvreg_error* e) {
        return qvreg_results_get_parameters(results, made, e);
      });
    case 10: {
      auto summary = Sized<qvreg_scaled_summary>();
      Run([&](auto* e) { return qvreg_scaled_get_summary(results, &summary, e); });
      return;
    }
    case 11:
      return List<std::int32_t>(
          [&](auto... list) { return qvreg_scaled_get_exponents(results, list...); });
    default:
      return List<double>([&](auto... list) {
        return data_.ConsumeBool()
                   ? qvreg_scaled_get_redundant_combination(results, Capacity(), list...)
                   : qvreg_scaled_get_estimates(results, list...);
      });
  }
}

void CallSession::CallLogistic() {
  const qvreg_results* results = Pick(results_);
  switch (Below(4)) {
    case 0: {
      auto summary = Sized<qvreg_logistic_summary>();
      Run([&](auto* e) { return qvreg_logistic_get_summary(results, &summary, e); });
      return;
    }
    case 1: {
      const auto weights = std::make_unique<double[]>(40);
      return List<std::int32_t>([&](auto* buffer, auto... rest) {
        return qvreg_logistic_get_categories(results, buffer, weights.get(), rest...);
      });
    }
    case 2: {
      const std::size_t stride = Capacity();
      return List<double>([&](auto* buffer, auto... rest) {
        return qvreg_logistic_get_classification(results, buffer, stride, rest...);
      });
    }
    default: {
      std::array<double, kHostWidth> record{};
      FillRecord(Capacity(), record.data());
      const auto indices = std::make_unique<std::int32_t[]>(40);
      std::int32_t isExpanded = 0;
      return List<double>([&](auto* buffer, auto capacity, auto* count, auto* e) {
        return qvreg_logistic_expand_sparse(results, record.data(), record.size(), indices.get(),
                                            buffer, capacity, count, &isExpanded, e);
      });
    }
  }
}

void CallSession::CallParameters() {
  const qvreg_parameters* parameters = Pick(parameters_);
  const std::size_t index = Capacity() % 8;
  const auto others = std::make_unique<std::int32_t[]>(40);
  switch (Below(4)) {
    case 0: {
      std::size_t count = 0;
      Run([&](auto* e) { return qvreg_parameters_get_count(parameters, &count, e); });
      return;
    }
    case 1: {
      auto info = Sized<qvreg_parameter_info>();
      Run([&](auto* e) { return qvreg_parameters_get_info(parameters, index, &info, e); });
      return;
    }
    case 2:
      return List<std::int32_t>([&](auto* buffer, auto... rest) {
        return qvreg_parameters_get_factors(parameters, index, buffer, others.get(), nullptr,
                                            rest...);
      });
    default:
      return List<std::int32_t>([&](auto* buffer, auto... rest) {
        return qvreg_parameters_get_covariates(parameters, index, buffer, others.get(), rest...);
      });
  }
}

void CallSession::CallScoring() {
  const qvreg_component* component = Pick(components_);
  const qvreg_results* results = Pick(results_);
  const auto size = data_.ConsumeIntegralInRange<std::size_t>(0, kHostWidth);
  std::array<double, kHostWidth> values{};
  FillRecord(Capacity(), values.data());
  if (Below(4) == 3) values[Capacity() % kHostWidth] = data_.ConsumeFloatingPoint<double>();
  const auto record = std::make_unique<double[]>(size);
  std::copy_n(values.begin(), size, record.get());
  std::int32_t answer = 0;
  switch (Below(4)) {
    case 0:
      Run([&](auto* e) {
        return qvreg_results_check_record(results, record.get(), size, &answer, e);
      });
      return;
    case 1:
      return List<double>([&](auto* buffer, auto capacity, auto* count, auto* e) {
        return qvreg_results_expand_row(results, record.get(), size, buffer, capacity, count,
                                        &answer, e);
      });
    case 2: {
      double predicted = 0.0;
      return List<double>([&](auto* buffer, auto capacity, auto* /*count*/, auto* e) {
        return qvreg_component_score(component, record.get(), size, &predicted, buffer, capacity,
                                     &answer, e);
      });
    }
    default: {
      auto rows = Sized<qvreg_rows>();
      rows.n_records = Capacity() % 8;
      rows.record_size = size;
      const auto stride = std::max<std::size_t>(size, 1);
      const auto all = std::make_unique<double[]>(rows.n_records * stride);
      for (std::size_t i = 0; i < rows.n_records; ++i) {
        std::copy_n(record.get(), size, &all[i * stride]);
      }
      rows.values = all.get();
      rows.record_stride = static_cast<std::ptrdiff_t>(stride);
      rows.value_stride = 1;
      const auto predicted = std::make_unique<double[]>(rows.n_records);
      std::size_t nScored = 0;
      return List<double>([&](auto* buffer, auto capacity, auto* /*count*/, auto* e) {
        return qvreg_component_score_rows(component, &rows, predicted.get(), buffer, capacity,
                                          nullptr, &nScored, e);
      });
    }
  }
}

void CallSession::CallColumns() {
  const qvreg_component* component = Pick(components_);
  const auto nRecords = data_.ConsumeIntegralInRange<std::size_t>(0, 12);
  const HostColumns columns(data_, kHostWidth, nRecords);
  const std::int32_t threads = Below(4) - 1;
  constexpr std::size_t kMostCategories = 6;
  const auto numbers = std::make_unique<double[]>(nRecords * kMostCategories);
  if (data_.ConsumeBool()) {
    std::fill_n(numbers.get(), nRecords * kMostCategories, 0.5);
    return List<double>([&](auto* buffer, auto capacity, auto* /*count*/, auto* e) {
      return qvreg_component_add_score_products(component, columns.Get(), columns.Size(), nRecords,
                                                threads, numbers.get(), 0, buffer, capacity, e);
    });
  }
  auto scores = Sized<qvreg_scores>();
  const auto predicted = std::make_unique<double[]>(nRecords);
  const auto errors = std::make_unique<double[]>(nRecords);
  const auto codes = std::make_unique<std::int32_t[]>(nRecords);
  const auto verdicts = std::make_unique<std::int32_t[]>(nRecords);
  const std::vector<double> covariance(Capacity(), 0.25);
  if (data_.ConsumeBool()) scores.predicted = predicted.get();
  if (data_.ConsumeBool()) scores.standard_errors = errors.get();
  if (data_.ConsumeBool()) scores.probabilities = numbers.get();
  if (data_.ConsumeBool()) scores.categories = codes.get();
  if (data_.ConsumeBool()) scores.verdicts = verdicts.get();
  if (Below(4) == 3) {
    scores.covariance = covariance.data();
    scores.covariance_size = covariance.size();
  }
  scores.is_missing_nan = Below(2);
  std::size_t nScored = 0;
  Run([&](auto* e) {
    return qvreg_component_score_columns(component, columns.Get(), columns.Size(), nRecords,
                                         threads, &scores, &nScored, e);
  });
  Check(nScored <= nRecords, "no more records are scored than there are");
}

void CallSession::CallBytes() {
  const qvreg_bytes* bytes = Pick(bytes_);
  switch (Below(6)) {
    case 0: {
      const std::vector<std::uint8_t> data =
          data_.ConsumeBytes<std::uint8_t>(data_.ConsumeIntegralInRange<std::size_t>(0, 64));
      return Make(bytes_, [&](auto** made, qvreg_error* e) {
        return qvreg_bytes_create(data.data(), data.size(), made, e);
      });
    }
    case 1: {
      const std::uint8_t* data = nullptr;
      std::size_t size = 0;
      Run([&](auto* e) { return qvreg_bytes_get_data(bytes, &data, &size, e); });
      return;
    }
    case 2: {
      const qvreg_settings* settings = Pick(settings_);
      return Make(bytes_, [&](auto** made, qvreg_error* e) {
        return qvreg_settings_write(settings, made, e);
      });
    }
    case 3:
      return Make(settings_,
                  [&](auto** made, qvreg_error* e) { return qvreg_settings_read(bytes, made, e); });
    case 4: {
      const qvreg_component* component = Pick(components_);
      return Make(bytes_, [&](auto** made, qvreg_error* e) {
        return qvreg_component_write(component, made, e);
      });
    }
    default:
      return Make(components_, [&](auto** made, qvreg_error* e) {
        return qvreg_component_restore(bytes, made, e);
      });
  }
}

void CallSession::CallWorker() {
  qvreg_worker* worker = Pick(workers_);
  const qvreg_bytes* request = Pick(bytes_);
  switch (Below(5)) {
    case 0:
      return Make(workers_,
                  [&](auto** made, qvreg_error* e) { return qvreg_worker_create(made, e); });
    case 1:
    case 2: {
      qvreg_source* source = Pick(sources_);
      return Make(bytes_, [&](auto** made, qvreg_error* e) {
        return qvreg_worker_run(worker, request, Below(4) - 1, source, made, e);
      });
    }
    case 3: {
      const qvreg_bytes* first = Pick(bytes_);
      const qvreg_bytes* second = Pick(bytes_);
      return Make(bytes_, [&](auto** made, qvreg_error* e) {
        return qvreg_worker_merge(worker, request, first, second, made, e);
      });
    }
    default:
      if (Below(8) == 7) Run([&](auto* e) { return qvreg_worker_cancel(worker, e); });
  }
}

std::int32_t CallSession::RunPass(void* user, const qvreg_bytes* request, qvreg_bytes** answer) {
  auto& self = *static_cast<CallSession*>(user);
  // The request is the library's until the callback returns: a copy is kept for later calls.
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
  self.Run([&](auto* e) { return qvreg_bytes_get_data(request, &data, &size, e); });
  self.Make(self.bytes_,
            [&](auto** made, qvreg_error* e) { return qvreg_bytes_create(data, size, made, e); });
  switch (self.Below(16)) {
    case 15:
      return 3;
    case 14:
      return 0;
    case 13:
      throw std::runtime_error("the host's own");
    case 12:
      self.Intrude();
      break;
    case 11:
      self.Run([&](auto* e) { return qvreg_bytes_create(data, size, answer, e); });
      return 0;
    default:
      break;
  }
  std::vector<qvtest::CWorker> workers;
  self.Make(workers, [&](auto** made, qvreg_error* e) { return qvreg_worker_create(made, e); });
  qvreg_source* source = self.Pick(self.sources_);
  self.Run([&](auto* e) {
    return qvreg_worker_run(workers.front().get(), request, 0, source, answer, e);
  });
  return 0;
}

}  // namespace qvfuzz
