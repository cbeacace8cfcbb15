#include "Scan/definition/BackupAction.h"

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// clang-format off
constexpr Field<BackupAction> ROWS[] = {
    integerField<BackupAction, &BackupAction::baID>("baID"),
    integerField<BackupAction, &BackupAction::baType>("baType"),
    flagField<BackupAction, &BackupAction::baDeleteFile>("baDeleteFile"),
    stringField<BackupAction, &BackupAction::baOptions>("baOptions"),
    integerField<BackupAction, &BackupAction::baConstraintThreshold>("baConstraintThreshold"),
};
// clang-format on
constexpr std::span<const Field<BackupAction>> FIELDS(ROWS);

}  // namespace

void BackupAction::inititializeObject(const HeaderArray&, const DataArray&) {
  TRACE_METHOD("inititializeObject(...)");
}

void BackupAction::printHeader(GenericPrint& print) {
  print.printHeaderLine(fieldNames(FIELDS));
}

void BackupAction::printData(GenericPrint& print) const {
  TRACE_METHOD("printData(...)");
  TRACE(TR_GENERAL, "baFile not serialized!");
  TRACE(TR_GENERAL, "baFilesystem not serialized!");
  print.printDataLine(fieldValues(FIELDS, *this));
}

}  // namespace orv
