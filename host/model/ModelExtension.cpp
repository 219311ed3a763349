#include "host/model/ModelExtension.h"

#include "host/model/ExtensionFields.h"
#include "qvreg/component/QvContentsFields.h"

namespace qvhost {

void WriteModelExtensions(pugi::xml_node parent, const QvModelContents& contents) {
  ExtensionWriter writer(parent);
  QvContentsFields::DescribeModel(contents, writer);
}

pugi::xml_node ReadModelExtensions(pugi::xml_node first, QvModelContents& contents) {
  ExtensionReader reader(first);
  QvContentsFields::DescribeModel(contents, reader);
  return reader.Next();
}

}  // namespace qvhost
