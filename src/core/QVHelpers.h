#pragma once
// Small functions for returning a value while handing out a message, and for comparing values
// either of which may be absent.

#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

// Each stores the message in `slot`, unless that is null, and returns what its name says.
bool QV_ReturnNoWithMessage(const std::string& message, std::optional<std::string>* slot);
std::nullptr_t QV_ReturnNilWithMessage(const std::string& message,
                                       std::optional<std::string>* slot);
std::nullptr_t QV_ReturnNULLWithMessage(const std::string& message,
                                        std::optional<std::string>* slot);
std::int64_t QV_ReturnIntegerWithMessage(std::int64_t value, const std::string& message,
                                         std::optional<std::string>* slot);

// Both absent, or both set and equal.
template <std::equality_comparable T>
bool QV_IsEqualNSObject(const std::optional<T>& a, const std::optional<T>& b) {
  return a == b;
}

template <std::equality_comparable T>
bool QV_IsEqualNSObject(const std::shared_ptr<T>& a, const std::shared_ptr<T>& b) {
  return a == b || (a && b && *a == *b);
}

bool QV_IsEqualNSString(const std::optional<std::string>& a, const std::optional<std::string>& b);
bool QV_IsEqualNSDate(std::optional<double> a, std::optional<double> b);  // seconds

template <class Array>
bool QV_IsEqualNSArray(const std::optional<Array>& a, const std::optional<Array>& b) {
  return a == b;
}

template <class Number>
bool QV_IsEqualNSNumber(std::optional<Number> a, std::optional<Number> b) {
  return a == b;
}

struct QVPoint {
  double x = 0;
  double y = 0;
};

struct QVRect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
};

// Tolerance 0 asks for exact equality; otherwise both differences lie within ±tolerance.
bool QV_IsEqualNSPoint(QVPoint a, QVPoint b, double tolerance);
std::string QV_SringFromRect(const QVRect& rect);

std::string QV_SupportEmail();

// Turns a scrambled text, the base64 form of UTF-8 with its bytes reversed, back into itself.
// nullopt for no bytes, for bytes that are no base64 and for a result that is no UTF-8.
std::optional<std::string> QV_StringDelacement(std::span<const unsigned char> bytes);
