// The narrow (UTF-8) records: forwarding a ClrParamsA as the ClrParams the
// wide calls take, and handing a ClrParams back.
#pragma once

#include <quvclr/dialogs.h>

namespace quv {

// A zeroed full-size ClrParams with every field of `narrow` copied, the paths
// converted to wide; a path that does not convert arrives empty. iccFlags
// stays 0.
void forwardRecord(const ClrParamsA& narrow, ClrParams* wide);
// activeMethod, whitePoint, the paths (converted to UTF-8; one that does not
// fit arrives empty) and the other fields back into `narrow`.
void copyBack(const ClrParams& wide, ClrParamsA* narrow);

// True when the caller's narrow record can be read whole.
bool narrowRecordReadable(const ClrParamsA* record);

}  // namespace quv
