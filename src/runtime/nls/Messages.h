#pragma once

namespace orv {

// A message: the catalog key and the message ID. Texts live in nls/xrmna.msg only.
struct Message {
  int number;
  const char* id;
};

// Every message that the job issues, by number. Severity letters: I information, W warning,
// E error, T text or termination.
namespace msg {
// clang-format off
inline constexpr Message STA0001E{301,  "STA0001E"};
inline constexpr Message STA0025I{325,  "STA0025I"};
inline constexpr Message STA0026I{326,  "STA0026I"};
inline constexpr Message STA0027I{327,  "STA0027I"};
inline constexpr Message STA0028I{328,  "STA0028I"};
inline constexpr Message STA0029E{329,  "STA0029E"};
inline constexpr Message STA0030E{330,  "STA0030E"};
inline constexpr Message STA0031E{331,  "STA0031E"};
inline constexpr Message STA0063E{363,  "STA0063E"};
inline constexpr Message STA0069W{369,  "STA0069W"};
inline constexpr Message STA0094E{394,  "STA0094E"};
inline constexpr Message STA0095E{395,  "STA0095E"};
inline constexpr Message STA0096E{396,  "STA0096E"};
inline constexpr Message STA0097E{397,  "STA0097E"};
inline constexpr Message STA0098E{398,  "STA0098E"};
inline constexpr Message STA0099E{399,  "STA0099E"};
inline constexpr Message STA0103W{403,  "STA0103W"};
inline constexpr Message STA0121E{421,  "STA0121E"};
inline constexpr Message STA0122E{422,  "STA0122E"};
inline constexpr Message STA0135W{436,  "STA0135W"};
inline constexpr Message STA0136W{437,  "STA0136W"};
inline constexpr Message STA0139W{440,  "STA0139W"};
inline constexpr Message STA0140W{441,  "STA0140W"};
inline constexpr Message STA0161I{462,  "STA0161I"};
inline constexpr Message STA0430E{714,  "STA0430E"};
inline constexpr Message STA0620E{722,  "STA0620E"};
inline constexpr Message STA0622E{724,  "STA0622E"};
inline constexpr Message STA0647E{872,  "STA0647E"};
inline constexpr Message AGT0143I{1141, "AGT0143I"};
inline constexpr Message AGT0144I{1142, "AGT0144I"};
inline constexpr Message AGT0146I{1144, "AGT0146I"};
inline constexpr Message AGT0397E{1750, "AGT0397E"};
inline constexpr Message AGT0398E{1751, "AGT0398E"};
inline constexpr Message STA0528T{2232, "STA0528T"};
inline constexpr Message STA0529E{2233, "STA0529E"};
inline constexpr Message STA0530E{2234, "STA0530E"};
inline constexpr Message STA0531E{2236, "STA0531E"};
inline constexpr Message STA0532I{2237, "STA0532I"};
inline constexpr Message STA0533I{2238, "STA0533I"};
inline constexpr Message STA0540T{2380, "STA0540T"};
inline constexpr Message STA0541T{2381, "STA0541T"};
inline constexpr Message STA0542T{2382, "STA0542T"};
inline constexpr Message STA0543T{2383, "STA0543T"};
inline constexpr Message STA0544T{2384, "STA0544T"};
inline constexpr Message STA0545T{2385, "STA0545T"};
inline constexpr Message STA0546T{2386, "STA0546T"};
inline constexpr Message STA0547T{2387, "STA0547T"};
inline constexpr Message STA0548T{2388, "STA0548T"};
inline constexpr Message STA0549T{2389, "STA0549T"};
inline constexpr Message STA0550T{2390, "STA0550T"};
inline constexpr Message STA0551T{2391, "STA0551T"};
inline constexpr Message STA0552T{2392, "STA0552T"};
inline constexpr Message STA0553T{2393, "STA0553T"};
inline constexpr Message STA0554T{2394, "STA0554T"};
inline constexpr Message STA0555T{2395, "STA0555T"};
inline constexpr Message STA0556T{2396, "STA0556T"};
inline constexpr Message STA0557E{2397, "STA0557E"};
inline constexpr Message STA0558E{2398, "STA0558E"};
inline constexpr Message STA0559E{2399, "STA0559E"};
inline constexpr Message STA0560E{2400, "STA0560E"};
inline constexpr Message STA0561W{2401, "STA0561W"};
inline constexpr Message STA0562W{2402, "STA0562W"};
inline constexpr Message STA0563E{2403, "STA0563E"};
inline constexpr Message STA0564E{2404, "STA0564E"};
inline constexpr Message STA0565W{2405, "STA0565W"};
inline constexpr Message STA0566W{2406, "STA0566W"};
inline constexpr Message STA0567E{2407, "STA0567E"};
inline constexpr Message GEN7001E{7001, "GEN7001E"};
// clang-format on
}  // namespace msg
}  // namespace orv
