// Documents in files, BSON or JSON, one document a file.
//
// Threads: no locks; callers serialise saves into one directory (see saveFile).
//
// Failures are statuses whose texts name the path and, where the system refused, the text of errno.
#pragma once

#include <cstddef>
#include <string>

#include "common/status.h"
#include "document/object.h"

namespace orvix {

// Reads a whole file into a new block, which the caller frees with free(3). A zero byte stands after the data and is
// not counted in `size` (bytes). `size` may be null. An empty file is a failure.
Status loadFile(const std::string& path, void** data, std::size_t* size);

// Read a document. A failure leaves `target` as it was. Of a JSON file the first document counts; "-" reads standard
// input. A BSON file is checked for its framing alone, see BSONObject::validate.
Status loadBSON(const std::string& path, BSONObject* target);
Status loadJSON(const std::string& path, BSONObject* target);

// Replaces the file at `path` atomically: after a crash or a power cut it holds the whole old or the whole new content.
// The bytes go to a temporary file in the same directory, named by the time in seconds and ".json", then to the medium
// (fsync(2)), over the target (rename(2)), and the directory to the medium. Two saves into one directory within a
// second use the same temporary file. `path` needs a directory part.
// After a failed write or fsync the temporary file is gone and its descriptor stays open; when the directory cannot be
// opened the temporary file stays as well. Hosts rely on both.
Status saveFile(const std::string& path, const void* data, std::size_t length);

// Save a document. An empty one gives a BSON file of 0 bytes, which loadBSON refuses. One without a JSON form (see
// BSONObject::toJSON) is a failure of saveJSON, and the file stays as it was.
Status saveBSON(const std::string& path, const BSONObject& document);
Status saveJSON(const std::string& path, const BSONObject& document);

}  // namespace orvix
