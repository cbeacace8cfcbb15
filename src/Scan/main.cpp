// The scan job: scans the filesystems that a definition file names and writes one result file.
//
//   src/common   runtime services: message catalog and log, trace, stat with time-out
//   src/Common   command line, definition reader, result writer, logs, locks, child processes
//   src/Probe    filesystems: their records, the mount table, capacity and physical size
//   src/Scan     this program: driver, orchestration, walk, accumulators, definition and results
//
// Data flows: command line (CmdArgs) -> definition file (ParserAPI) -> definition objects
// (AgentScan)
// -> mounts and bindings (FilesystemScan) -> walk (Scanner, DirectoryReader) -> per-entry record
// (FileAttributes) -> accumulators (CuStatAccum) -> result records (CuStatResults) -> result file
// (GenericPrint).

#include "Scan/job/ExecScan.h"

int main(int argc, char** argv) {
  orv::ExecScan job;
  return job.run(argc, argv);
}
