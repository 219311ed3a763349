#include "qvreg/component/QvModelMessage.h"

#include <utility>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvContentsBytes.h"
#include "qvreg/component/QvRegAlgorithm.h"

using QvCommon::QvMessageType;
using QvCommon::QvStatus;

QvStatus QvModelMessage::Write(const QvModelContents& contents, std::vector<unsigned char>& model) {
  return GuardOperation([&] {
    QvCommon::QvByteWriter writer;
    WriteModel(contents, writer);
    model = writer.TakeMessage(QvMessageType::kModel);
    return QvStatus();
  });
}

QvStatus QvModelMessage::Read(const std::vector<unsigned char>& model, QvModelContents& contents) {
  return GuardOperation([&]() -> QvStatus {
    QvCommon::QvByteReader reader(model, QvMessageType::kModel);
    QvModelContents read;
    ReadModel(reader, read);
    if (!reader.IsAtEnd()) return {QvStatusCode::kUnreadableMessage, false};
    contents = std::move(read);
    return {};
  });
}
