#include "TxnCase.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

TxnCase::TxnCase(const std::string& path) : m_name(std::filesystem::path(path).stem().string()) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot read " + path);
  std::vector<std::string>* section = nullptr;
  for (std::string line; std::getline(in, line);) {
    line.erase(line.find_last_not_of(" \t\r") + 1);
    if (line.empty() || line[0] == '#') continue;
    if (line.front() == '[' && line.back() == ']') {
      section = &m_sections[line.substr(1, line.size() - 2)];
    } else if (section == nullptr) {
      throw std::runtime_error(path + ": a line before the first section");
    } else {
      section->push_back(line);
    }
  }
}

const std::vector<std::string>& TxnCase::lines(const std::string& section) const {
  static const std::vector<std::string> kNone;
  auto found = m_sections.find(section);
  return found == m_sections.end() ? kNone : found->second;
}

std::string TxnCase::text(const std::string& section) const {
  std::string joined;
  for (const std::string& line : lines(section)) joined += (joined.empty() ? "" : " ") + line;
  return joined;
}

std::vector<std::string> TxnCase::findAll(const std::string& dir) {
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.path().extension() == ".case") paths.push_back(entry.path().string());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::pair<std::string, std::string> splitField(const std::string& line) {
  size_t equals = line.find('=');
  if (equals == std::string::npos) return {line, ""};
  return {line.substr(0, equals), line.substr(equals + 1)};
}

std::string substitute(std::string text, const std::map<std::string, std::string>& tokens) {
  for (const auto& [token, value] : tokens) {
    for (size_t at = 0; (at = text.find(token, at)) != std::string::npos; at += value.size()) {
      text.replace(at, token.size(), value);
    }
  }
  return text;
}
