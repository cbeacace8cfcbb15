// The scan job: scans the filesystems that a definition file names and writes one result file.
//
// clang-format off
//   src/runtime           message catalog and log, trace, text, stop flag
//   src/Common            command line, logs, locks, job files, child processes, notification
//   src/Common/format     definition reader, result writer, field and column tables
//   src/Probe             filesystems: their records, the mount table, capacity and physical size
//   src/Scan/entry        one entry's record, its owner, group and file type
//   src/Scan/select       where clauses and patterns: which entries belong to a profile
//   src/Scan/results      the records of a result
//   src/Scan/definition   what the job is told: filesystems, directories, profiles
//   src/Scan/walk         the walk over a tree, whatever the platform
//   src/Scan/accumulate   the statistics that every entry is shown to
//   src/Scan/share        a tree that several walks do together: their files, their merger
//   src/Scan/unix         how directories are read and entries examined on Linux
//   src/Scan/job          this program's driver and the order of its steps
//
// Data flows: command line (CmdArgs) -> definition file (ParserAPI) -> definition objects (AgentScan)
// -> mounts and bindings (FilesystemScan) -> walk (Scanner, DirectoryReader) -> per-entry record
// (FileAttributes) -> accumulators (CuStatAccum) -> result records (CuStatResults) -> result file
// (GenericPrint).
// clang-format on

#include "Scan/job/ExecScan.h"
#include "Scan/job/ShareJob.h"

int main(int argc, char** argv) {
  if (orv::isPartOfScan(argc, argv))
    return orv::runPartOfScan(argv);
  orv::ExecScan job;
  return job.run(argc, argv);
}
