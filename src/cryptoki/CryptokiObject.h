// CryptokiObject: one object of the token, as the client knows it: its handle, the attributes read so far,
// and typed copies of those that are asked for most. What it holds is as old as its last read; it does not
// hear of changes on the token, and destroying it never touches the token.
//
// Reading and writing need session handle, object handle and module, else CryptokiError CKR_ARGUMENTS_BAD. A
// module's failure is a CryptokiError with its code.
#pragma once

#include <initializer_list>
#include <list>
#include <string>

#include "cryptoki/Attribute.h"
#include "cryptoki/ICryptokiSettable.h"

class CryptokiObject : public ICryptokiSettable {
 public:
  CryptokiObject() = default;
  CryptokiObject(const CryptokiObject&) = default;
  CryptokiObject& operator=(const CryptokiObject& other);

  // In interface order: append, never reorder.

  virtual ~CryptokiObject();
  // Makes an object of the attributes in this object's session. The result knows its two handles, not the
  // module.
  //
  // Required: the module is told one attribute more than the list has; that one is empty.
  virtual CryptokiObject Create(const std::list<Attribute>& attributes);
  // Destroys the object on the token. The handle is gone afterwards, also when the module refuses.
  virtual void Destroy();
  // Writes the attributes to the token and, for those that were read before, to the values held here. An
  // empty list raises CKR_ARGUMENTS_BAD. A failure changes nothing here.
  virtual void Update(const std::list<Attribute>& attributes);
  virtual std::list<Attribute>& GetAttributes();
  // The attribute as it was first read; the token is asked only when it was not. A length of 0 gives no
  // value.
  virtual Attribute GetAttribute(CK_ATTRIBUTE_TYPE type);
  virtual CK_OBJECT_CLASS GetClass() const;
  virtual std::string& GetLabel();
  virtual bool IsModifiable() const;
  virtual bool IsPrivate() const;
  virtual bool IsToken() const;
  virtual bool IsExtractable() const;
  virtual bool IsSensitive() const;
  // Copies the identifier that was read and leaves `*length` alone; with a null `out` stores its length. Too
  // small a `*length` takes the need and raises CKR_BUFFER_TOO_SMALL. Nothing read at all raises
  // CKR_ARGUMENTS_BAD, no identifier among it CKR_ATTRIBUTE_TYPE_INVALID.
  virtual void GetID(BYTE* out, CK_ULONG* length);
  virtual CK_OBJECT_HANDLE GetHandle() const;
  virtual void SetAttributes(const std::list<Attribute>& attributes);
  // Reads the attributes that every object has, those of a fixed size by one call, and forgets what was read
  // before. A failure leaves what was read so far.
  virtual void Retrieve();

  // Binds this object to one of the token.
  void Bind(const ICryptokiSettable& session, CK_OBJECT_HANDLE handle);

 protected:
  // A fixed-size attribute and where it goes.
  struct Field {
    CK_ATTRIBUTE_TYPE type;
    void* value;
    CK_ULONG size;
  };

  template <typename T>
  static Field FieldOf(CK_ATTRIBUTE_TYPE type, T& value) {
    return Field{type, &value, static_cast<CK_ULONG>(sizeof(T))};
  }

  // Raises CKR_ARGUMENTS_BAD unless both handles and the module are set.
  CryptokiInterface& BoundModule() const;
  // Reads fixed-size attributes in one call, straight into their fields, and adds them to the attributes
  // read.
  void ReadFields(std::initializer_list<Field> fields);
  // Reads attributes of any size, in one call for the lengths and one for the values, and adds them to the
  // attributes read.
  void ReadValues(std::initializer_list<CK_ATTRIBUTE_TYPE> types);
  // The first of that type among the attributes read, or null.
  const Attribute* FindAttribute(CK_ATTRIBUTE_TYPE type) const;
  // The value through DecodeText.
  static std::string DecodedText(const Attribute& attribute);
  // GetID for any attribute.
  void CopyCached(CK_ATTRIBUTE_TYPE type, BYTE* out, CK_ULONG* length) const;
  // GetID for the modulus of a key, each step logged.
  void CopyModulus(BYTE* out, CK_ULONG* length) const;
  // Stores those attributes of a list that have a field there. Bytes that a value lacks count as zero.
  static void StoreFields(const std::list<Attribute>& attributes, std::initializer_list<Field> fields);

  std::list<Attribute> m_attributes;
  std::string m_label;
  // The bytes that the token sent, of which any but 0 is true: a bool must not hold a 2.
  CK_BBOOL m_modifiable = CK_FALSE;
  CK_BBOOL m_private = CK_FALSE;
  CK_BBOOL m_token = CK_FALSE;
  CK_BBOOL m_extractable = CK_FALSE;
  CK_BBOOL m_sensitive = CK_FALSE;
  CK_OBJECT_CLASS m_class = 0;

 private:
  void UpdateCached(const Attribute& attribute);
};
