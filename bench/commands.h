#pragma once

namespace bench {

/// Measures commands of the client on a machine with 60 VLANs, and prints a table: the requests that each makes of WMI
/// and its time, in one run. Leaves the VLANs of adapter 7 behind.
void MeasureCommands();

}  // namespace bench
