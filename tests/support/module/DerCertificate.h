// Certificates for tests that need an unusual one. Nothing checks their keys and signatures.
#pragma once

#include <utility>
#include <vector>

#include "module/ScriptedObjects.h"

// A DER object, with as many length octets as it needs.
inline Bytes Der(unsigned char tag, const Bytes& content) {
  Bytes header = {tag};
  if (content.size() < 0x80) {
    header.push_back(static_cast<unsigned char>(content.size()));
  } else {
    Bytes octets;
    for (std::size_t rest = content.size(); rest != 0; rest >>= 8U) {
      octets.insert(octets.begin(), static_cast<unsigned char>(rest & 0xFFU));
    }
    header.push_back(static_cast<unsigned char>(0x80U | octets.size()));
    header.insert(header.end(), octets.begin(), octets.end());
  }
  header.insert(header.end(), content.begin(), content.end());
  return header;
}

inline Bytes Joined(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// A name made of strings, each with the content octets of its type's object identifier.
inline Bytes DerName(const std::vector<std::pair<Bytes, std::string>>& parts) {
  Bytes name;
  for (const auto& part : parts) {
    const Bytes pair = Joined({Der(0x06, part.first), Der(0x0C, Text(part.second))});
    name = Joined({name, Der(0x31, Der(0x30, pair))});
  }
  return Der(0x30, name);
}

const Bytes kCommonName = {0x55, 0x04, 0x03};
const Bytes kCountry = {0x55, 0x04, 0x06};
const Bytes kLocality = {0x55, 0x04, 0x07};
const Bytes kOrganisation = {0x55, 0x04, 0x0A};
const Bytes kUnit = {0x55, 0x04, 0x0B};
const Bytes kEMail = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x01};

// A certificate with that subject, with an extension of `padding` bytes.
inline Bytes DerCertificate(const Bytes& subject, std::size_t padding = 1) {
  const Bytes rsa =
      Der(0x30, Joined({Der(0x06, {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01}), {0x05, 0x00}}));
  const Bytes signedByRsa =
      Der(0x30, Joined({Der(0x06, {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x0B}), {0x05, 0x00}}));
  const Bytes time = Der(0x17, Text("260101000000Z"));
  const Bytes key = Der(0x30, Joined({{0x02, 0x01, 0x0F}, {0x02, 0x01, 0x03}}));
  const Bytes extension = Der(0x30, Joined({Der(0x06, {0x2A, 0x03, 0x04}), Der(0x04, Bytes(padding, 0x5A))}));
  const Bytes body = Joined({{0xA0, 0x03, 0x02, 0x01, 0x02},
                             {0x02, 0x01, 0x07},
                             signedByRsa,
                             DerName({{kCommonName, "Issuer"}}),
                             Der(0x30, Joined({time, time})),
                             subject,
                             Der(0x30, Joined({rsa, Der(0x03, Joined({{0x00}, key}))})),
                             Der(0xA3, Der(0x30, extension))});
  return Der(0x30, Joined({Der(0x30, body), signedByRsa, Der(0x03, {0x00, 0x01})}));
}
