// Values bound to the "?" markers of a statement, by position. The bound values live in
// this object, which must outlive the statement's execution; releasing it unbinds them.
#pragma once

#include <string>
#include <vector>

#include "platform/odbc/OdbcHandle.h"
#include "runtime/Variant.h"

namespace platform {

class OdbcParameters {
 public:
  // Binds Null and Empty as SQL NULL, Boolean as BIT, Long as INTEGER, Double as DOUBLE,
  // String as VARCHAR (UTF-8) and Date as TIMESTAMP with milliseconds.
  OdbcParameters(const OdbcHandle& statement, const std::vector<runtime::Variant>& values);
  ~OdbcParameters();
  OdbcParameters(const OdbcParameters&) = delete;
  OdbcParameters& operator=(const OdbcParameters&) = delete;

 private:
  struct Bound {
    SQLINTEGER integer = 0;
    SQLDOUBLE number = 0;
    SQLCHAR bit = 0;
    SQL_TIMESTAMP_STRUCT timestamp{};
    std::string text;
    SQLLEN indicator = 0;
  };

  void Bind(SQLUSMALLINT position, const runtime::Variant& value, Bound& bound);

  const OdbcHandle& statement_;
  // Sized once, so the addresses handed to the driver stay put.
  std::vector<Bound> bound_;
};

}  // namespace platform
