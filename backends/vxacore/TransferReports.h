#pragma once

#include "backends/vxacore/TransferRecord.h"

// The writing side of the record of transfers.
namespace NORXVXA20 {

// The listener, or one that does nothing.
ITransferListener& TransferListener();
bool HasTransferListener();
// Puts file into the record and tells the listener.
void ReportFileDone(const TransferredFile& file);
// Whether a complete file was copied to localPath before.
bool IsCopiedFile(const std::string& localPath);

} // namespace NORXVXA20
