// SPDX-License-Identifier: Apache-2.0
// make_dissector: puts the decoder's tables into the frame of a Wireshark dissector.
//
// make_dissector FRAME OUTPUT reads the dissector's Lua source, writes name tables, layouts and choices of layouts in
// place of its line "-- TABLES", and stores the whole. Names and keys need no escapes in Lua: they are letters, digits,
// "-" and "_". Two rows that would have the same name in display filters are refused.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "profile/catalogue.h"
#include "profile/core_payloads.h"

namespace {

using namespace hub::profile;

constexpr unsigned int kIdCount = 256;

// How the rows of a form are called in Lua.
struct FormName {
  Form form;
  std::string_view name;
};

constexpr FormName kFormNames[] = {
    {Form::kUnsigned, "number"},        {Form::kConstant, "constant"}, {Form::kQuotedHex, "hexadecimal"},
    {Form::kFixedPoint, "fixed_point"}, {Form::kText, "text"},         {Form::kBytes, "bytes"},
    {Form::kSubtype, "subtype"},
};

std::string_view form_name(Form form) {
  const auto* row = std::find_if(std::begin(kFormNames), std::end(kFormNames),
                                 [form](const FormName& candidate) { return candidate.form == form; });
  if (row == std::end(kFormNames)) {
    throw std::runtime_error("a row has a form that the dissector does not know");
  }
  return row->name;
}

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

std::string id_or_any(int id) { return id == kAny ? "ANY" : std::to_string(id); }

// Writes the tables, each name table once.
class TableWriter {
 public:
  explicit TableWriter(std::ostream& out) : out_(out) {}

  void write() {
    write_names("categories", kCategoryNames);
    write_names("types", kTypeNames);
    for (const Layout* layout : kLayouts) {
      write_layout(*layout);
    }
    write_type_layouts();
    for (const Category* category : kCategories) {
      write_names_of(*category);
      write_category(*category);
    }
  }

 private:
  void write_names(const std::string& title, NameTable table) {
    if (!titles_.emplace(table.rows().data(), title).second) {
      return;
    }
    out_ << "names[" << quoted(title) << "] = {\n";
    for (const profile_decoder::entry& row : table.rows()) {
      out_ << "  [" << row.id << "] = " << quoted(row.name) << ",\n";
    }
    out_ << "}\n\n";
  }

  void write_layout(const Layout& layout) {
    out_ << "layout(" << quoted(layout.name) << ", {\n";
    for (const Field& field : layout.fields) {
      out_ << "  {key = " << quoted(field.key) << ", filter = " << quoted(filter_name(layout, field))
           << ", form = " << quoted(form_name(field.kind.form)) << place(field) << "},\n";
    }
    out_ << "})\n\n";
  }

  // hubprofile.LAYOUT.KEY, without the "-" that filters take for a minus.
  std::string filter_name(const Layout& layout, const Field& field) {
    std::string name = "hubprofile." + std::string(layout.name) + "." + std::string(field.key);
    std::replace(name.begin(), name.end(), '-', '_');
    if (!filter_names_.insert(name).second ||
        (field.kind.form == Form::kSubtype && !filter_names_.insert(name + "_name").second)) {
      throw std::runtime_error("two items would be \"" + name + "\" in display filters");
    }
    return name;
  }

  // Where a row's value is, and what else its form needs.
  static std::string place(const Field& field) {
    if (field.kind.form == Form::kConstant) {
      return ", number = " + std::to_string(field.kind.detail);
    }
    std::string text = ", at = " + std::to_string(field.at) + ", width = " + std::to_string(field.kind.width_bytes);
    if (field.kind.form == Form::kFixedPoint) {
      text += ", fraction_bits = " + std::to_string(field.kind.detail);
    }
    if (field.length_at != kWholeList) {
      text += ", length_at = " + std::to_string(field.length_at);
    }
    return text;
  }

  void write_type_layouts() {
    for (unsigned int type_id = 0; type_id < kIdCount; ++type_id) {
      if (const Layout* layout = core_layout(type_id); layout != nullptr) {
        out_ << "type_layouts[" << type_id << "] = " << quoted(layout->name) << "\n";
      }
    }
    out_ << "\n";
  }

  void write_names_of(const Category& category) {
    const std::string name = name_in(kCategoryNames, category.id);
    if (category.components != nullptr) {
      write_names(name + " components", *category.components);
    }
    const auto write_rows = [&](std::span<const ComponentNames> rows, std::string_view what) {
      for (const ComponentNames& row : rows) {
        std::string title = name;
        title.append(component_word(category, row.component_id)).append(what);
        write_names(title, *row.names);
      }
    };
    write_rows(category.events, " events");
    write_rows(category.subtypes, " subtypes");
  }

  static std::string component_word(const Category& category, int component_id) {
    if (component_id == kAny) {
      return "";
    }
    const auto id = static_cast<unsigned int>(component_id);
    return " " + (category.components != nullptr ? name_in(*category.components, id) : std::to_string(id));
  }

  void write_category(const Category& category) {
    out_ << "categories[" << category.id << "] = {\n";
    if (category.components != nullptr) {
      out_ << "  components = " << names_of(*category.components) << ",\n";
    }
    write_component_names("events", category.events);
    write_component_names("subtypes", category.subtypes);
    write_choices(category.layouts);
    out_ << "}\n\n";
  }

  void write_component_names(std::string_view what, std::span<const ComponentNames> rows) {
    out_ << "  " << what << " = {\n";
    for (const ComponentNames& row : rows) {
      out_ << "    {component = " << id_or_any(row.component_id) << ", names = " << names_of(*row.names) << "},\n";
    }
    out_ << "  },\n";
  }

  void write_choices(std::span<const LayoutChoice> choices) {
    out_ << "  choices = {\n";
    for (const LayoutChoice& choice : choices) {
      out_ << "    {component = " << id_or_any(choice.component_id) << ", event = " << id_or_any(choice.event_id)
           << ", type = " << id_or_any(choice.type_id) << ", version = " << id_or_any(choice.version) << ", layouts = {"
           << layout_list(choice.rendering) << "}},\n";
    }
    out_ << "  },\n";
  }

  static std::string layout_list(const Rendering& rendering) {
    std::string list;
    for (const Layout* layout : {rendering.first, rendering.second}) {
      if (layout != nullptr) {
        list += (list.empty() ? "" : ", ") + quoted(layout->name);
      }
    }
    return list;
  }

  std::string names_of(NameTable table) const { return "names[" + quoted(titles_.at(table.rows().data())) + "]"; }

  std::ostream& out_;
  std::map<const profile_decoder::entry*, std::string> titles_;
  std::set<std::string> filter_names_;
};

std::string read_file(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream content;
  content << file.rdbuf();
  if (!file || !content) {
    throw std::runtime_error(path + ": cannot be read");
  }
  return content.str();
}

void write_file(const std::string& path, const std::string& content) {
  std::ofstream file(path);
  file << content << std::flush;
  if (!file) {
    throw std::runtime_error(path + ": cannot be written");
  }
}

std::string dissector(const std::string& frame_path) {
  static constexpr std::string_view kPlace = "-- TABLES\n\n";
  std::string text = read_file(frame_path);
  const std::size_t at = text.find(kPlace);
  if (at == std::string::npos) {
    throw std::runtime_error(frame_path + ": expected a line \"-- TABLES\" and an empty one");
  }
  std::ostringstream tables;
  TableWriter(tables).write();
  return text.replace(at, kPlace.size(), tables.str());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: make_dissector FRAME OUTPUT\n";
    return 2;
  }
  try {
    write_file(argv[2], dissector(argv[1]));
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "make_dissector: " << error.what() << "\n";
    return 1;
  }
}
