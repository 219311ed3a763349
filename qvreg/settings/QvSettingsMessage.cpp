#include "qvreg/settings/QvSettingsMessage.h"

#include <new>
#include <utility>

#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/settings/QvSettingsBytes.h"

using QvCommon::QvMessageType;
using QvCommon::QvStatus;

QvStatus QvSettingsMessage::Write(const QvRegSettings& settings,
                                  std::vector<unsigned char>& bytes) {
  try {
    QvCommon::QvByteWriter writer;
    WriteSettings(settings, writer);
    bytes = writer.TakeMessage(QvMessageType::kSettings);
    return {};
  } catch (const std::bad_alloc&) {
    return {QvStatusCode::kTooManyParameters, false};
  }
}

QvStatus QvSettingsMessage::Read(const std::vector<unsigned char>& bytes,
                                 std::unique_ptr<QvRegSettings>& settings) {
  try {
    QvCommon::QvByteReader reader(bytes, QvMessageType::kSettings);
    std::unique_ptr<QvRegSettings> read = ReadSettings(reader);
    if (read == nullptr || !reader.IsAtEnd()) return {QvStatusCode::kUnreadableMessage, false};
    settings = std::move(read);
    return {};
  } catch (const std::bad_alloc&) {
    return {QvStatusCode::kTooManyParameters, false};
  }
}
