#pragma once

#include "host/table/Connection.h"
#include "host/table/DuckDb.h"

namespace qvhost {

/// What a connection owns, for the sources of this folder. The connection goes before the database.
struct Connection::Handles {
  DatabaseHandle database;
  ConnectionHandle connection;
};

}  // namespace qvhost
