// The coding vocabulary, declared only. A value's header includes this to
// declare how the value codes (a `Coding<T>` specialisation beside the type)
// while its source file defines the members with the coders of Codable.hpp,
// so that including the value does not pull in the coding machinery or
// Boost.JSON:
//
//   // Volume.hpp
//   struct Volume { int level; };
//   template <> struct Coding<Volume> {
//     static void encode(const Volume& value, Encoder& encoder);
//     static Volume decode(const Decoder& decoder);
//   };
#pragma once

namespace zorlan {

class Encoder;
class Decoder;

// Specialise (or give a type `encode`/`decode` members, or describe it with
// ZORLAN_CODABLE) to make a type codable; see Codable.hpp.
template <class T, class Enable = void>
struct Coding;

// Specialise to give a type the name its decoding errors print; see
// CodingTypeName.hpp.
template <class T, class Enable = void>
struct CodingTypeName;

}  // namespace zorlan
