#include "tests/host/cli/SourceFile.h"

#include "host/table/Connection.h"

namespace qvhost {

void RunSql(const std::string& statements) { Connection().Execute(statements); }

}  // namespace qvhost
