#pragma once

#include <string>
#include <vector>

namespace orv {

using HeaderArray = std::vector<std::string>;
using DataArray = std::vector<std::vector<std::string>>;

// What every mapper throws when an entity's values do not match its header.
inline constexpr int OBJECT_CREATION_ERROR = 325;

// More values than any record has. Of a line that has more this and one are read, and no mapper
// takes it.
inline constexpr std::size_t MAX_FIELDS = 65'536;

// Base of every object built from an entity of the definition file.
class EntityToObjectMapper {
 public:
  EntityToObjectMapper() = default;
  virtual ~EntityToObjectMapper() = default;
  EntityToObjectMapper(const EntityToObjectMapper&) = delete;
  EntityToObjectMapper& operator=(const EntityToObjectMapper&) = delete;

  // Copies the entity's values into the object's fields. `refHeaderArray` holds the field names in
  // column order, `refDataArray` the rows, one value per column. Throws OrvObjectCreationException
  // (code 325) when the number of names and values differ, before any field is set.
  virtual void inititializeObject(const HeaderArray& refHeaderArray,
                                  const DataArray& refDataArray) = 0;

 protected:
  // What most mappers trace when names and values differ in number.
  static constexpr const char* SIZES_DIFFER =
      "ERROR: refHeaderArray.size() != refDataArray.size(). "
      "OrvObjectCreationException will be thrown.";

  // The entity's first row; an entity without rows counts as one row without values.
  [[nodiscard]] static const std::vector<std::string>& firstRow(const DataArray& rows) noexcept;

  // Throws OrvObjectCreationException after tracing `errorText` unless the row has one value per
  // name.
  static void checkSizes(const HeaderArray& header, const std::vector<std::string>& row,
                         const char* errorText = SIZES_DIFFER);
};

}  // namespace orv
