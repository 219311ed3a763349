#pragma once

#include "qvreg/common/QvStatus.h"
#include "qvreg/data/QvRecordCounts.h"
#include "qvreg/data/QvRecordPass.h"
#include "qvreg/design/QvFactorTables.h"

/// The first pass of every model: gives each valid record to the factor tables and counts what
/// became of the records. The pass's status; 307 when no record was used.
QvCommon::QvStatus FillFactorTables(QvRecordPass& pass, QvFactorTables& tables,
                                    QvRecordCounts& counts);
