#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <cmath>
#include <limits>
#include <string>

#include "manifest/date_coding.hpp"
#include "manifest/utf8.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi::ManifestCoder {
namespace {

using Buffer = rapidjson::StringBuffer;

// RapidJSON's pretty writer behind calls that refuse whatever could not be read back. Callers
// list keys in ascending byte order themselves: the order is part of the file format, and
// spelling it out keeps it visible next to the fields.
class Writer {
 public:
  explicit Writer(Buffer& buffer) : writer_(buffer) { writer_.SetIndent(' ', 2); }

  template <typename Body>
  void object(Body body) {
    writer_.StartObject();
    body();
    writer_.EndObject();
  }

  template <typename Body>
  void object(std::string_view key, Body body) {
    this->key(key);
    object(body);
  }

  template <typename Body>
  void array(std::string_view key, Body body) {
    this->key(key);
    writer_.StartArray();
    body();
    writer_.EndArray();
  }

  void string(std::string_view key, std::string_view value) {
    // Checked here rather than by the writer: RapidJSON 1.1's PrettyWriter does not compile with
    // kWriteValidateEncodingFlag.
    if (!utf8::isValid(value)) {
      throw ManifestEncodingError("\"" + std::string(key) + "\" holds text that is not valid UTF-8");
    }
    if (value.size() > std::numeric_limits<rapidjson::SizeType>::max()) {
      throw ManifestEncodingError("\"" + std::string(key) + "\" holds more text than the writer can take");
    }
    this->key(key);
    writer_.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
  }

  void number(std::string_view key, double value) {
    if (!std::isfinite(value)) {
      throw ManifestEncodingError("\"" + std::string(key) +
                                  "\" holds NaN or an infinity, which JSON cannot hold");
    }
    this->key(key);
    writer_.Double(value);
  }

  void integer(std::string_view key, std::int64_t value) {
    this->key(key);
    writer_.Int64(value);
  }

  void boolean(std::string_view key, bool value) {
    this->key(key);
    writer_.Bool(value);
  }

  void uuid(std::string_view key, const Uuid& value) { string(key, value.string()); }

  void date(std::string_view key, Date value) {
    if (value < date_coding::kEarliest || value > date_coding::kLatest) {
      throw ManifestEncodingError("\"" + std::string(key) + "\" lies outside the years 0000 to 9999");
    }
    string(key, formatDate(value));
  }

  template <typename T, typename Write>
  void optional(std::string_view key, const std::optional<T>& value, Write write) {
    if (value) (this->*write)(key, *value);
  }

  // An element of an array, written without a key.
  template <typename Body>
  void element(Body body) {
    object(body);
  }

 private:
  void key(std::string_view name) { writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size())); }

  rapidjson::PrettyWriter<Buffer> writer_;
};

void writeFrame(Writer& w, const Frame& frame) {
  w.object("frame", [&] {
    w.number("height", frame.height);
    w.number("width", frame.width);
    w.number("x", frame.x);
    w.number("y", frame.y);
  });
}

void writeDrawing(Writer& w, const DrawingContent& drawing) {
  w.object("drawing", [&] {
    w.string("color", drawing.color);
    w.array("points", [&] {
      for (const DrawingPoint& point : drawing.points) {
        w.element([&] {
          w.number("x", point.x);
          w.number("y", point.y);
        });
      }
    });
    w.number("strokeWidth", drawing.strokeWidth);
    w.string("style", rawValue(drawing.style));
  });
}

void writeShape(Writer& w, const ShapeContent& shape) {
  w.object("shape", [&] {
    w.optional("fillColor", shape.fillColor, &Writer::string);
    w.optional("strokeColor", shape.strokeColor, &Writer::string);
    w.number("strokeWidth", shape.strokeWidth);
    w.optional("title", shape.title, &Writer::string);
    w.optional("titleFontSize", shape.titleFontSize, &Writer::number);
  });
}

void writeItem(Writer& w, const CanvasItem& item) {
  w.element([&] {
    w.optional("caption", item.caption, &Writer::string);
    if (item.captionAlignment) w.string("captionAlignment", rawValue(*item.captionAlignment));
    if (item.drawing) writeDrawing(w, *item.drawing);
    writeFrame(w, item.frame);
    w.optional("groupId", item.groupId, &Writer::uuid);
    w.uuid("id", item.id);
    w.optional("image", item.image, &Writer::string);
    w.boolean("locked", item.locked);
    if (item.naturalSize) {
      w.object("naturalSize", [&] {
        w.integer("height", item.naturalSize->height);
        w.integer("width", item.naturalSize->width);
      });
    }
    if (item.shape) writeShape(w, *item.shape);
    if (item.source) {
      w.object("source", [&] {
        w.date("addedAt", item.source->addedAt);
        w.optional("url", item.source->url, &Writer::string);
      });
    }
    if (item.text) {
      w.object("text", [&] {
        w.string("color", item.text->color);
        w.string("content", item.text->content);
        w.number("fontSize", item.text->fontSize);
      });
    }
    w.optional("thumbnail", item.thumbnail, &Writer::string);
    w.string("type", rawValue(item.type));
    w.integer("zIndex", item.zIndex);
  });
}

void writeBoard(Writer& w, const Board& board) {
  w.object("board", [&] {
    w.object("canvas", [&] {
      w.string("backgroundColor", board.canvas.backgroundColor);
      w.object("lastViewport", [&] {
        w.number("offsetX", board.canvas.lastViewport.offsetX);
        w.number("offsetY", board.canvas.lastViewport.offsetY);
        w.number("zoom", board.canvas.lastViewport.zoom);
      });
    });
    w.date("createdAt", board.createdAt);
    if (board.header) {
      const BoardHeader& header = *board.header;
      w.object("header", [&] {
        w.optional("client", header.client, &Writer::string);
        w.optional("date", header.date, &Writer::string);
        w.optional("location", header.location, &Writer::string);
        w.optional("model", header.model, &Writer::string);
        w.optional("notes", header.notes, &Writer::string);
        w.optional("title", header.title, &Writer::string);
      });
    }
    w.uuid("id", board.id);
    w.date("modifiedAt", board.modifiedAt);
    w.string("name", board.name);
    if (board.pageSetup) {
      w.object("pageSetup", [&] {
        w.string("format", rawValue(board.pageSetup->format));
        w.string("orientation", rawValue(board.pageSetup->orientation));
      });
    }
  });
}

}  // namespace

std::string encode(const Manifest& manifest) {
  Buffer buffer;
  Writer w(buffer);
  w.object([&] {
    writeBoard(w, manifest.board);
    w.array("items", [&] {
      for (const CanvasItem& item : manifest.items) writeItem(w, item);
    });
    w.integer("schemaVersion", manifest.schemaVersion);
  });
  return std::string(buffer.GetString(), buffer.GetSize());
}

}  // namespace zorvi::ManifestCoder
