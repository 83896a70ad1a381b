// KrRegistry: the library's configuration store. An XML file is read once into typed tables of
// strings that callers query by name; the process-wide root comes from "krn.xml":
//   KrString level = KrRegistry::Root().Obj("LogSetting")["LogLevel"];
// Each child of the document's root is one entry; its case-insensitive "type" attribute picks
// the table: value (the default), object, sequence, objectsequence, subreg (a nested registry
// in the same file) or external (another XML file, loaded on first SubFile call).
// Reading never fails: a missing name gives an empty table, array or registry (never null). It
// belongs to the calling thread and is emptied again by its next lookup of a missing name, so
// what is written through it is not kept. External files are read only when they are regular
// files: an entry naming a FIFO, a device or a directory gives an empty registry.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "Base/KrArray.h"
#include "Base/KrDefs.h"
#include "Base/KrHash.h"
#include "Base/KrString.h"
#include "Base/KrThread.h"

namespace KRN
{

class KrMarkup;

class KRN_API KrRegistry
{
public:
    // The forms of an entry, in the order of their "type" texts.
    enum ElemType
    {
        ElemValue = 0,
        ElemObject = 1,
        ElemSequence = 2,
        ElemObjectSequence = 3,
        ElemSubReg = 4,
        ElemExternal = 5
    };

    KrRegistry();
    // Loads the file; a file that cannot be read leaves the registry empty.
    explicit KrRegistry(const KrString& fileName);
    KrRegistry(const KrRegistry& other);
    KrRegistry& operator=(const KrRegistry& other);
    virtual ~KrRegistry();

    // The process-wide registry, loaded from XmlPath() + "krn.xml" on the first call (which may
    // come from several threads at once).
    static KrRegistry& Root();
    // The configuration directory with its trailing "/": $KRN_CONFIG_DIR when set and not
    // empty; else the directory of this library when it holds "krn.xml"; else the directory
    // one up from it, whether or not the file is there.
    static KrString XmlPath();

    // Plain values: Value of a missing name is empty.
    KrString Value(const KrString& name) const;
    const KrHash<KrString>& Values() const { return m_hashValues; }

    KrHash<KrString>& Obj(const KrString& name) const;
    KrArray<KrString>& Seq(const KrString& name) const;
    KrArray<KrHash<KrString>>& ObjSeq(const KrString& name) const;
    KrRegistry& SubReg(const KrString& name) const;
    // The registry of an external entry, loaded on first use and kept. The entry named
    // "resource" is read as string resources, "EPSFont" as the EPS font map (any case).
    KrRegistry& SubFile(const KrString& name) const;
    // The absolute path of an external entry, or empty.
    KrString GetSubFileName(const KrString& name) const;

    // Changing a registry: each setter adds the entry or replaces the one of that name.
    void SetValue(const KrString& name, const KrString& text);
    void SetObj(const KrString& name, const KrHash<KrString>& object);
    void SetSeq(const KrString& name, const KrArray<KrString>& sequence);
    void SetObjSeq(const KrString& name, const KrArray<KrHash<KrString>>& objects);
    void SetSubReg(const KrString& name, const KrRegistry& registry);
    // path is absolute, or relative to XmlPath().
    void SetExternal(const KrString& name, const KrString& path);

    // Writes the registry to the file it was loaded from (or SetFileName), with the library's
    // XML header. False when there is no file name or the file cannot be written.
    unsigned char Save();
    KrString Name() const { return m_strName; }  // the tag of the document's root
    void SetName(const KrString& name) { m_strName = name; }
    const KrString& GetFileName() const { return m_strFileName; }
    void SetFileName(const KrString& fileName) { m_strFileName = fileName; }
    // Always "GB2312": a fixed answer, not read from the file.
    KrString Encoding() const { return "GB2312"; }

    // Replaces every table by the entries of an XML text.
    virtual void LoadDoc(const KrString& text);

protected:
    void SaveDoc(KrMarkup& markup) const;
    void LoadFile(const KrString& path);
    void Clear();
    // Parses text, leaving the markup inside its root element; false when there is no root.
    bool enterRoot(KrMarkup& markup, const KrString& text);

    KrHash<KrString> m_hashValues;

private:
    template <class T>
    using Table = std::map<std::string, std::unique_ptr<T>>;

    static ElemType Convert(const KrString& type);
    void loadEntry(KrMarkup& markup, const KrString& name, ElemType type,
                   const KrString& configDir);
    void copyFrom(const KrRegistry& other);

    Table<KrHash<KrString>> m_tableObjects;
    Table<KrArray<KrString>> m_tableSequences;
    Table<KrArray<KrHash<KrString>>> m_tableObjectSequences;
    Table<KrRegistry> m_tableSubRegs;
    KrHash<KrString> m_hashExternals;              // name -> absolute path
    mutable Table<KrRegistry> m_tableLoadedFiles;  // path -> registry, filled by SubFile
    mutable KrMutex m_mutexFiles;
    KrString m_strName;
    KrString m_strFileName;
    int m_nDepth = 0;  // nesting of sub-registries, bounded against hostile documents
};

// String resources: under the root, each "section" element numbers its "res" children from its
// "beginid" attribute upwards; each text is the value of its number in decimal.
class KRN_API KrRegistryResource : public KrRegistry
{
public:
    void LoadDoc(const KrString& text) override;
};

// The EPS font map: each element under the root maps the font named by its "tml:KRN" child to
// the one named by its "tml:EPS" child.
class KRN_API KrRegistryEpsFont : public KrRegistry
{
public:
    void LoadDoc(const KrString& text) override;
};

}  // namespace KRN
