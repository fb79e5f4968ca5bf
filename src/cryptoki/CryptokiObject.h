// CryptokiObject: one object of the token, as the client knows it: its handle, the attributes read so far, and typed
// copies of those that are asked for most. Its data is as old as its last read: it does not notice changes on the
// token. Its destructor leaves the token alone.
//
// It has only the handle of its session; Session.h describes what happens after that session ends. Reading and writing
// need session handle, object handle and module; otherwise they raise CryptokiError CKR_ARGUMENTS_BAD. A call that the
// module refuses raises CryptokiError with the module's code.
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
  // Creates an object with these attributes in this object's session. The result has its two handles, but no module.
  //
  // Required: the module gets one attribute more than the list has, an empty one.
  virtual CryptokiObject Create(const std::list<Attribute>& attributes);
  // Destroys the object on the token. Afterwards there is no handle, even when the module refused.
  virtual void Destroy();
  // Writes the attributes to the token, and those that were read before also to the values here. An empty list raises
  // CKR_ARGUMENTS_BAD. A failure changes nothing here.
  virtual void Update(const std::list<Attribute>& attributes);
  virtual std::list<Attribute>& GetAttributes();
  // The attribute as it was first read. The token is asked only once. A length of 0 gives no value.
  virtual Attribute GetAttribute(CK_ATTRIBUTE_TYPE type);
  virtual CK_OBJECT_CLASS GetClass() const;
  virtual std::string& GetLabel();
  virtual bool IsModifiable() const;
  virtual bool IsPrivate() const;
  virtual bool IsToken() const;
  virtual bool IsExtractable() const;
  virtual bool IsSensitive() const;
  // Copies the identifier, as it was read, to `out`, and leaves `*length` alone. A null `out` asks for the length. When
  // `*length` is too small it becomes the needed length, and CKR_BUFFER_TOO_SMALL is raised. CKR_ARGUMENTS_BAD is
  // raised when nothing was read, CKR_ATTRIBUTE_TYPE_INVALID when no identifier was.
  virtual void GetID(BYTE* out, CK_ULONG* length);
  virtual CK_OBJECT_HANDLE GetHandle() const;
  virtual void SetAttributes(const std::list<Attribute>& attributes);
  // Forgets what was read before, and reads the attributes that every object has. After a failure those that were read
  // remain.
  virtual void Retrieve();

  // Makes this the object `handle` of the token, seen through `session`. Only the session's handle and module are kept.
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
  // Reads attributes of a fixed size in one call, directly into their fields, and adds them to the attributes read.
  void ReadFields(std::initializer_list<Field> fields);
  // Reads attributes of any size in two calls, and adds them to the attributes read.
  void ReadValues(std::initializer_list<CK_ATTRIBUTE_TYPE> types);
  // The first of that type among the attributes read, or null.
  const Attribute* FindAttribute(CK_ATTRIBUTE_TYPE type) const;
  // The value through DecodeText.
  static std::string DecodedText(const Attribute& attribute);
  // What to do with the log line of a step: LogStep writes it, LogNothing does not.
  using StepLog = void (*)(const char* line);
  static void LogStep(const char* line);
  static void LogNothing(const char* line);
  // GetID for any attribute. Only GetModulus logs its steps, so the lines speak of a modulus.
  void CopyCached(CK_ATTRIBUTE_TYPE type, BYTE* out, CK_ULONG* length, StepLog log = LogNothing) const;
  // Stores those attributes of the list that have a field. A value that is shorter than its field is filled with zeros.
  static void StoreFields(const std::list<Attribute>& attributes, std::initializer_list<Field> fields);

  std::list<Attribute> m_attributes;
  std::string m_label;
  // The bytes that the token sent. Any value but 0 is true; a bool must not hold a 2.
  CK_BBOOL m_modifiable = CK_FALSE;
  CK_BBOOL m_private = CK_FALSE;
  CK_BBOOL m_token = CK_FALSE;
  CK_BBOOL m_extractable = CK_FALSE;
  CK_BBOOL m_sensitive = CK_FALSE;
  CK_OBJECT_CLASS m_class = 0;

 private:
  void UpdateCached(const Attribute& attribute);
};
