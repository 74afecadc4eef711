#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

// The settings store: a small stand-in for the registry, kept as one INI file
// per hive.
//
//   HKEY_CURRENT_USER   $XDG_CONFIG_HOME/Practorium/registry.ini (default
//                       ~/.config), created owner-only (0600) in a folder
//                       created owner-only (0700)
//   HKEY_LOCAL_MACHINE  /etc/xdg/Practorium/registry.ini, never written
//
// File format (UTF-8, one entry per line):
//
//   ; a comment (also "#"), kept as it is when the program rewrites the file
//   [Software\Practorum\PackCourier]
//   User ID=sz:someone@example.com
//   Password=bin:8e0c51d2a7
//   Retries=dword:3
//   Endpoint=http://127.0.0.1:8080/PackCourier.asp
//
// A "[section]" is a key: its full path, backslashes and all, as written
// between the first "[" and the last "]". Lines before the first section
// belong to the hive's root key. A value line is "name=payload"; blanks
// around the name, the "=" and the payload are ignored. The payload's prefix
// gives the type:
//   sz:     text (type 1)
//   bin:    bytes (type 3) as hexadecimal digits, two per byte; blanks and
//           commas between bytes are allowed
//   dword:  32-bit number (type 4), decimal (-2147483648 ... 4294967295) or
//           0x followed by up to 8 hexadecimal digits
// A payload without one of these prefixes is text as it stands, so
// "Endpoint=http://..." can be written by hand without any prefix.
// Key paths and value names compare regardless of case, as in the registry.
// In text and names, "\\" is a backslash, "\n", "\r", "\t" are line feed,
// carriage return and tab, and "\xHH" is the character U+00HH; any other
// backslash stands for itself, so hand-written paths need no doubling. The
// program writes "=", leading "[", ";", "#" of names, and leading or trailing
// blanks as "\xHH", so every name and text comes back exactly. There are no
// comments at the end of a line.
//
// A line that is none of these (junk, binary garbage, a bad number or bad hex
// after its prefix) is ignored when reading and kept unchanged when the
// program rewrites the file. A store file is at most 1 MiB: a larger one
// cannot be read (EFBIG) and a write that would make it larger fails the same
// way. Writes go to a temporary file in the same folder that then replaces
// the store, so a failed write leaves the old contents in place.
//
// Failures are errno values, as the system calls that they stand in for
// give them: ENOENT for a missing key or value, EACCES for a hive the user
// may not change (the machine hive always; the user's hive when its file or
// folder has no owner write bit or is not writable), EBADF for an unknown
// hive handle.
namespace Registry {

constexpr quint32 HKEY_CURRENT_USER = 0x80000001u;
constexpr quint32 HKEY_LOCAL_MACHINE = 0x80000002u;

constexpr qint32 REG_NONE = 0;
constexpr qint32 REG_SZ = 1;
constexpr qint32 REG_BINARY = 3;
constexpr qint32 REG_DWORD = 4;

constexpr quint32 KEY_QUERY_VALUE = 0x0001;
constexpr quint32 KEY_SET_VALUE = 0x0002;
constexpr quint32 KEY_CREATE_SUB_KEY = 0x0004;
constexpr quint32 KEY_READ = 0x20019;
constexpr quint32 KEY_ALL_ACCESS = 0xF003F;
// Any of these bits in an access mask asks for the right to change the key.
constexpr quint32 KEY_WRITE_RIGHTS = 0x0002 | 0x0004 | 0x0020 | 0x00010000 | 0x00040000 | 0x00080000;

// Points the hives at other folders (each holding a registry.ini), for tests;
// an empty folder restores that hive's default.
void SetStoreFolders(const QString& userFolder, const QString& machineFolder);
// The store file of a hive; empty for a hive the store does not have.
QString StorePath(quint32 hive);

// An open key. It holds no file: every call reads the store afresh, so a
// hand edit made while the program runs is seen at once.
struct Key
{
    quint32 Hive = 0;
    QString Path;
    quint32 Access = 0;
    bool IsOpen = false;
};

// The calls below stand in for the system's registry calls: each returns 0
// or an errno value, and leaves that value in errno as well.

// Opens an existing key. Asking for write rights fails with EACCES when the
// user may not change the hive's file, even if nothing is then written.
qint32 OpenKey(quint32 hive, const QString& subkey, quint32 access, Key& key);
// Opens the key with all rights, adding it to the store when missing.
qint32 CreateKey(quint32 hive, const QString& subkey, Key& key);
// The value's type and bytes: text as UTF-8 without a terminator, a number as
// 4 bytes little-endian. A value of more than `capacity` bytes fails with
// EOVERFLOW (a negative capacity means no limit); type and bytes are then
// left as they were.
qint32 QueryValue(const Key& key, const QString& valueName, qint32& valueType, QByteArray& data,
    qsizetype capacity = -1);
// Types 1, 3 and 4 only (EINVAL for others); replaces a value of that name.
qint32 SetValue(const Key& key, const QString& valueName, qint32 valueType, const QByteArray& data);
qint32 RemoveValue(const Key& key, const QString& valueName);
void CloseKey(Key& key);

// Reads a value: text (cut at its first NUL), 32-bit integer or byte array
// by its type; an empty variant for a missing value or another type, with
// `valueType` then REG_NONE. A missing key raises. The key is opened with all
// rights, so a store the user may not change raises too.
QVariant ReadValue(quint32 hive, const QString& subkey, const QString& valueName, qint32* valueType = nullptr);
// Writes a value of type 1 (any value as text), 3 (a QByteArray) or 4 (a
// number from -2^31 to 2^32 - 1; 0xFFFFFFFF reads back as -1), creating the
// key when needed. Another type creates the key and writes nothing. A value
// that does not fit its type raises 13 (Type mismatch) or 6 (Overflow).
void WriteValue(const QString& subkey, const QString& valueName, const QVariant& value, qint32 valueType,
    quint32 hive = HKEY_CURRENT_USER);
// Deletes a value; a missing key or value raises.
void DeleteValue(const QString& subkey, const QString& valueName, quint32 hive = HKEY_CURRENT_USER);

// A result other than 0 raises errno as a system error (see CheckApiResult).
// ReadValue, WriteValue and DeleteValue raise under "Registry:ReadValue()",
// "Registry:WriteValue()" and "Registry:DeleteValue()".
void CheckRegistryResult(qint32 result);

} // namespace Registry
