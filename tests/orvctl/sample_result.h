#pragma once

#include <string>

namespace orv::ctl::test {

// A result as the scan writes it: one filesystem, one profile. Header lines are bare names; in data
// lines every value is quoted and an empty one is nothing. `files` is put between the tags of the
// largest files.
inline std::string sampleResult(const std::string& files) {
  const std::string fa =
      "faType,faName,faOwner,faGroup,faCreated,faModified,faAccessed,faBlocks,faLength,"
      "faAttributes,faLinkCount,faInodeNumber\n";
  return "[Header]\n"
         "[AgentScan]\nasJobName,asScanningCompID\n"
         "[CuStatDef]\nsdID,sdCreator,sdName,sdLargestFiles,sdLargestOrphans,sdOldestOrphans\n"
         "[CuStatResults]\nsrID,srLargestFiles\n"
         "[Filesystem]\nfsID,fsMountPoint\n"
         "[FileType]\nfptID,ftpFileExtension,ftpDescription\n"
         "[FileTypeSummary]\nprofileID,filesystemID,fileCount,spaceUsed,fileType\n"
         "[ResultsByFS]\nrfResults,rfDirOrFS\n"
         "[SFile]\nsfFilesystemID,sfStatisticID,sfStatType," +
         fa +
         "[SSizeDist]\nszdFilesystemID,szdStatisticID,szdSizes,szdCounts\n"
         "[SSummary]\nsumFilesystemID,sumStatisticID,sumCapacity,sumFreeSpace,sumUsedSpace,"
         "sumTotalSize,sumFileCount,sumScanTime,sumAccumCount,sumType,sumDirectoryCount\n"
         "[STimeDist]\ntdFilesystemID,tdStatisticID,tdType,tdScanTime,tdAverageAge,tdSizes,"
         "tdCounts,"
         "tdAccumCount,tdHistType\n"
         "[SUserOrGroup]\nsugFilesystemID,sugStatisticID,sugIdentity,sugFileCount,sugTotalSize,"
         "sugTimestamp,sugAccumCount,sugType,sugDirectoryCount,sugOtherCount,sugUnusedSpace,"
         "sugLargestSize,sug2ndLargestSize,sugSizes,sugCounts\n"
         "[UserOrGroup]\nugID,ugGroupID,ugName,ugDescription,ugDomainID,ugRemoved,ugComputerID,"
         "ugNameBytes,ugType\n"
         "[/Header]\n"
         "[AgentScan]\n\"orvctl\",\"-1\"\n"
         "[Filesystem]\n\"7\",\"/data\"\n[/Filesystem]\n"
         // An empty creator: two adjacent commas.
         "[CuStatDef]\n\"1\",,\"every \"\"thing\"\"\",\"100\",\"100\",\"0\"\n"
         "[ResultsByFS,Filesystem]\n\"1\",\"7\"\n"
         "[CuStatResults]\n\"1\",\"2\"\n"
         "[SFile,srLargestFiles]\n" +
         files +
         "[/SFile]\n"
         "[FileTypeSummary,srFileTypes]\n\"1\",\"7\",\"3\",\"3072\",\"4\"\n[/FileTypeSummary]\n"
         "[FileType,srFileTypes]\n\"4\",\"txt\",\n[/FileType]\n"
         "[SSummary,srSummary]\n\"7\",\"1\",\"2097152\",\"1048576\",\"1048576\",\"5368709120\","
         "\"1234567\",\"1704067200000\",\"0\",\"0\",\"89\"\n[/SSummary]\n"
         "[SSizeDist,srSizeDist]\n\"7\",\"1\",\"0,0,0,0,0,0,0,4096\",\"1,0,0,0,0,0,0,3\"\n"
         "[/SSizeDist]\n"
         "[SUserOrGroup,srOwners]\n"
         "\"7\",\"1\",\"1000\",\"5\",\"100\",\"0\",\"0\",\"0\",\"0\",\"0\",\"0\",\"60\",\"40\","
         "\"0\",\"0\"\n"
         "\"7\",\"1\",\"0\",\"5\",\"900\",\"0\",\"0\",\"0\",\"2\",\"0\",\"0\",\"800\",\"40\",\"0\","
         "\"0\"\n"
         "[/SUserOrGroup]\n"
         "[UserOrGroup,srOwners]\n\"1000\",\"0\",\"ann\",,\"-1\",\"N\",\"-1\",,\"1\"\n"
         "\"0\",\"0\",\"root\",\"root\",\"-1\",\"N\",\"-1\",,\"1\"\n[/UserOrGroup]\n"
         "[STimeDist,srAccessed]\n\"7\",\"1\",\"0\",\"0\",\"172800\",\"0,10,0,0,0,0,0,0,0,30\","
         "\"0,1,0,0,0,0,0,0,0,1\",\"0\",\"0\"\n[/STimeDist]\n"
         "[STimeDist,srBackup]\n\"7\",\"1\",\"3\",\"0\",\"0\",\"0,0,0,0,0,0,0,0,0,0\","
         "\"0,0,0,0,0,0,0,0,0,0\",\"0\",\"0\"\n[/STimeDist]\n"
         "[/CuStatResults]\n[/ResultsByFS]\n[/CuStatDef]\n[/AgentScan]\n";
}

// A data line of the largest files; `name` as the file holds it, between its quotes.
inline std::string fileLine(const std::string& name, const std::string& owner, long long length) {
  return "\"7\",\"1\",\"0\",\"1\",\"" + name + "\"," + owner +
         ",\"staff\",\"0\",\"1704067200000\",\"1704067200000\",\"8\",\"" + std::to_string(length) +
         "\",\"0\",\"1\",\"99\"\n";
}

}  // namespace orv::ctl::test
