#include "Base/KrRegistry.h"

#include "Base/KrCore.h"
#include "Base/KrFile.h"
#include "Base/KrFileStream.h"
#include "Base/KrMarkup.h"
#include "Base/KrToolkit.h"
#include "Base/Platform/KrPlatformFile.h"
#include "Base/Platform/KrPlatformSystem.h"

namespace KRN
{

namespace
{
const char kConfigFile[] = "krn.xml";
constexpr unsigned int kFileBuffer = 8192;
// Configuration files beyond this size are not read: the registry stays empty.
constexpr unsigned long long kMaxFileBytes = 256ull << 20;
// Sub-registries nested deeper than this load as empty registries.
constexpr int kMaxDepth = 64;

// The result for a missing name: an empty object of the calling thread, emptied again on every
// such lookup, so that nothing written through one shows up in a later one.
template <class T>
T& freshEmpty()
{
    static thread_local T empty;
    empty = T();
    return empty;
}

// The whole of a regular file of at most kMaxFileBytes; false for anything else, and for a
// file that could not be read to its end.
bool readRegularFile(const KrString& path, KrString& text)
{
    Platform::FileDescriptor file = Platform::OpenFile(path.Cstr(), Platform::FileAccess::Read);
    if (!file.IsOpen()) return false;
    const long long length = Platform::SeekFile(file.Get(), 0, Platform::SeekOrigin::End);
    if (length < 0 || static_cast<unsigned long long>(length) > kMaxFileBytes ||
        Platform::SeekFile(file.Get(), 0, Platform::SeekOrigin::Begin) != 0)
        return false;
    text.SetLength(static_cast<int>(length));
    return length == 0 ||
           Platform::ReadWhole(file.Get(), &text[0], static_cast<size_t>(length)) == length;
}

template <class T>
T& findIn(const std::map<std::string, std::unique_ptr<T>>& table, const KrString& name)
{
    auto found = table.find(name);
    return found != table.end() ? *found->second : freshEmpty<T>();
}

// Reads the children of the current element as tag -> text.
KrHash<KrString> readObject(KrMarkup& markup)
{
    KrHash<KrString> object;
    markup.IntoElem();
    while (markup.FindElem()) object.SetAt(markup.GetTagName(), markup.GetData());
    markup.OutOfElem();
    return object;
}

// Adds an element holding object's entries as children; false when the name is refused.
bool writeObject(KrMarkup& markup, const KrString& name, const char* type,
                 const KrHash<KrString>& object)
{
    if (!markup.AddElem(name.Cstr())) return false;
    markup.SetAttrib("type", type);
    markup.IntoElem();
    object.ForEach([&markup](const KrString& key, const KrString& value)
                   { markup.AddElem(key.Cstr(), value.Cstr()); });
    markup.OutOfElem();
    return true;
}

KrString parentDirectory(KrString dir)
{
    dir.TrimRight('/');
    const int slash = dir.ReverseFind('/');
    return slash < 0 ? KrString() : dir.Left(slash + 1);
}
}  // namespace

// ---------------------------------------------------------------- life cycle

KrRegistry::KrRegistry() = default;

KrRegistry::KrRegistry(const KrString& fileName)
{
    LoadFile(fileName);
}

KrRegistry::KrRegistry(const KrRegistry& other)
{
    copyFrom(other);
}

KrRegistry& KrRegistry::operator=(const KrRegistry& other)
{
    if (this != &other) copyFrom(other);
    return *this;
}

KrRegistry::~KrRegistry() = default;

void KrRegistry::copyFrom(const KrRegistry& other)
{
    const auto deepCopy = [](const auto& from, auto& to)
    {
        to.clear();
        for (const auto& [name, item] : from)
            to.emplace(name, std::make_unique<typename std::decay_t<decltype(*item)>>(*item));
    };
    m_hashValues = other.m_hashValues;
    deepCopy(other.m_tableObjects, m_tableObjects);
    deepCopy(other.m_tableSequences, m_tableSequences);
    deepCopy(other.m_tableObjectSequences, m_tableObjectSequences);
    deepCopy(other.m_tableSubRegs, m_tableSubRegs);
    m_hashExternals = other.m_hashExternals;
    {
        // Files are loaded again on demand rather than copied.
        KrMutexGuard hold(m_mutexFiles);
        m_tableLoadedFiles.clear();
    }
    m_strName = other.m_strName;
    m_strFileName = other.m_strFileName;
    m_nDepth = other.m_nDepth;
}

void KrRegistry::Clear()
{
    m_hashValues = KrHash<KrString>();
    m_tableObjects.clear();
    m_tableSequences.clear();
    m_tableObjectSequences.clear();
    m_tableSubRegs.clear();
    m_hashExternals = KrHash<KrString>();
    KrMutexGuard hold(m_mutexFiles);
    m_tableLoadedFiles.clear();
}

KrRegistry& KrRegistry::Root()
{
    static KrRegistry root(XmlPath() + kConfigFile);
    return root;
}

KrString KrRegistry::XmlPath()
{
    const char* configured = Platform::EnvironmentValue("KRN_CONFIG_DIR");
    if (configured != nullptr && configured[0] != '\0')
    {
        KrString dir(configured);
        if (dir[dir.GetLength() - 1] != '/') dir += '/';
        return dir;
    }
    const KrString dir = KrFile::GetModulePath("ZoBase");
    if (dir.IsEmpty()) return dir;
    if (KrFile::IsExist(dir + kConfigFile)) return dir;
    return parentDirectory(dir);
}

// ---------------------------------------------------------------- queries

KrString KrRegistry::Value(const KrString& name) const
{
    return m_hashValues[name];
}

KrHash<KrString>& KrRegistry::Obj(const KrString& name) const
{
    return findIn(m_tableObjects, name);
}

KrArray<KrString>& KrRegistry::Seq(const KrString& name) const
{
    return findIn(m_tableSequences, name);
}

KrArray<KrHash<KrString>>& KrRegistry::ObjSeq(const KrString& name) const
{
    return findIn(m_tableObjectSequences, name);
}

KrRegistry& KrRegistry::SubReg(const KrString& name) const
{
    return findIn(m_tableSubRegs, name);
}

KrString KrRegistry::GetSubFileName(const KrString& name) const
{
    return m_hashExternals[name];
}

KrRegistry& KrRegistry::SubFile(const KrString& name) const
{
    KrString path;
    if (!m_hashExternals.Lookup(name, path)) return freshEmpty<KrRegistry>();

    KrMutexGuard hold(m_mutexFiles);
    auto cached = m_tableLoadedFiles.find(path);
    if (cached != m_tableLoadedFiles.end()) return *cached->second;

    std::unique_ptr<KrRegistry> loaded;
    if (name.CompareNoCase("resource") == 0)
        loaded = std::make_unique<KrRegistryResource>();
    else if (name.CompareNoCase("EPSFont") == 0)
        loaded = std::make_unique<KrRegistryEpsFont>();
    else
        loaded = std::make_unique<KrRegistry>();
    loaded->LoadFile(path);
    return *m_tableLoadedFiles.emplace(path, std::move(loaded)).first->second;
}

// ---------------------------------------------------------------- changes

void KrRegistry::SetValue(const KrString& name, const KrString& text)
{
    m_hashValues.SetAt(name, text);
}

void KrRegistry::SetObj(const KrString& name, const KrHash<KrString>& object)
{
    m_tableObjects[name] = std::make_unique<KrHash<KrString>>(object);
}

void KrRegistry::SetSeq(const KrString& name, const KrArray<KrString>& sequence)
{
    m_tableSequences[name] = std::make_unique<KrArray<KrString>>(sequence);
}

void KrRegistry::SetObjSeq(const KrString& name, const KrArray<KrHash<KrString>>& objects)
{
    m_tableObjectSequences[name] = std::make_unique<KrArray<KrHash<KrString>>>(objects);
}

void KrRegistry::SetSubReg(const KrString& name, const KrRegistry& registry)
{
    auto copy = std::make_unique<KrRegistry>(registry);
    copy->m_strName = name;
    m_tableSubRegs[name] = std::move(copy);
}

void KrRegistry::SetExternal(const KrString& name, const KrString& path)
{
    m_hashExternals.SetAt(name, KrFile::GetAbsolutePath(XmlPath(), path));
}

// ---------------------------------------------------------------- loading

void KrRegistry::LoadFile(const KrString& path)
{
    m_strFileName = path;
    KrString text;
    if (readRegularFile(path, text)) LoadDoc(text);
}

bool KrRegistry::enterRoot(KrMarkup& markup, const KrString& text)
{
    if (!markup.SetDoc(text.Cstr()) || !markup.FindElem()) return false;
    m_strName = markup.GetTagName();
    return markup.IntoElem() != 0;
}

KrRegistry::ElemType KrRegistry::Convert(const KrString& type)
{
    static const struct
    {
        const char* text;
        ElemType type;
    } kTypes[] = {{"object", ElemObject},
                  {"sequence", ElemSequence},
                  {"objectsequence", ElemObjectSequence},
                  {"subreg", ElemSubReg},
                  {"external", ElemExternal}};
    for (const auto& known : kTypes)
        if (type.CompareNoCase(known.text) == 0) return known.type;
    return ElemValue;
}

void KrRegistry::LoadDoc(const KrString& text)
{
    Clear();
    KrMarkup markup;
    if (!enterRoot(markup, text)) return;
    // Resolved once: external paths of every entry are relative to it.
    const KrString configDir = XmlPath();
    while (markup.FindElem())
    {
        const KrString name = markup.GetTagName();
        loadEntry(markup, name, Convert(markup.GetAttrib("type")), configDir);
    }
}

void KrRegistry::loadEntry(KrMarkup& markup, const KrString& name, ElemType type,
                           const KrString& configDir)
{
    switch (type)
    {
        case ElemObject:
            m_tableObjects[name] = std::make_unique<KrHash<KrString>>(readObject(markup));
            break;
        case ElemSequence:
        {
            auto sequence = std::make_unique<KrArray<KrString>>();
            markup.IntoElem();
            while (markup.FindElem()) sequence->Add(markup.GetData());
            markup.OutOfElem();
            m_tableSequences[name] = std::move(sequence);
            break;
        }
        case ElemObjectSequence:
        {
            auto objects = std::make_unique<KrArray<KrHash<KrString>>>();
            markup.IntoElem();
            while (markup.FindElem()) objects->Add(readObject(markup));
            markup.OutOfElem();
            m_tableObjectSequences[name] = std::move(objects);
            break;
        }
        case ElemSubReg:
        {
            auto nested = std::make_unique<KrRegistry>();
            nested->m_nDepth = m_nDepth + 1;
            if (nested->m_nDepth <= kMaxDepth)
                nested->LoadDoc(markup.GetSubDoc());
            else
                nested->m_strName = name;
            m_tableSubRegs[name] = std::move(nested);
            break;
        }
        case ElemExternal:
            m_hashExternals.SetAt(name, KrFile::GetAbsolutePath(configDir, markup.GetData()));
            break;
        case ElemValue:
            m_hashValues.SetAt(name, markup.GetData());
            break;
    }
}

// ---------------------------------------------------------------- saving

unsigned char KrRegistry::Save()
{
    if (m_strFileName.IsEmpty()) return 0;
    KrMarkup markup((KrToolkit::GetXmlFileHeader() + "\r\n").Cstr());
    if (!markup.AddElem(m_strName.IsEmpty() ? "registry" : m_strName.Cstr())) return 0;
    markup.IntoElem();
    SaveDoc(markup);

    const KrString& text = markup.GetDoc();
    KrFileStream file;
    if (!file.Open(m_strFileName.Cstr(), KrStreamSave, kFileBuffer)) return 0;
    file.Save(text.data(), static_cast<unsigned int>(text.size()));
    return file.Close();
}

void KrRegistry::SaveDoc(KrMarkup& markup) const
{
    m_hashValues.ForEach([&markup](const KrString& name, const KrString& text)
                         { markup.AddElem(name.Cstr(), text.Cstr()); });
    for (const auto& [name, object] : m_tableObjects)
        writeObject(markup, name.c_str(), "object", *object);
    for (const auto& [name, sequence] : m_tableSequences)
    {
        if (!markup.AddElem(name.c_str())) continue;
        markup.SetAttrib("type", "sequence");
        markup.IntoElem();
        for (const KrString& item : *sequence) markup.AddElem("item", item.Cstr());
        markup.OutOfElem();
    }
    for (const auto& [name, objects] : m_tableObjectSequences)
    {
        if (!markup.AddElem(name.c_str())) continue;
        markup.SetAttrib("type", "ObjectSequence");
        markup.IntoElem();
        for (const KrHash<KrString>& object : *objects)
            writeObject(markup, "object", "object", object);
        markup.OutOfElem();
    }
    for (const auto& [name, nested] : m_tableSubRegs)
    {
        if (!markup.AddElem(name.c_str())) continue;
        markup.SetAttrib("type", "subreg");
        markup.IntoElem();
        nested->SaveDoc(markup);
        markup.OutOfElem();
    }
    const KrString configDir = XmlPath();
    m_hashExternals.ForEach(
        [&markup, &configDir](const KrString& name, const KrString& path)
        {
            const bool inConfigDir =
                !configDir.IsEmpty() && path.Left(configDir.GetLength()) == configDir;
            if (markup.AddElem(name.Cstr(),
                               inConfigDir ? path.Mid(configDir.GetLength()).Cstr() : path.Cstr()))
                markup.SetAttrib("type", "external");
        });
}

// ---------------------------------------------------------------- specialised loaders

void KrRegistryResource::LoadDoc(const KrString& text)
{
    Clear();
    KrMarkup markup;
    if (!enterRoot(markup, text)) return;
    while (markup.FindElem("section"))
    {
        int id = markup.GetAttrib("beginid").ToInt(10);
        markup.IntoElem();
        while (markup.FindElem("res"))
        {
            m_hashValues.SetAt(KrString::From(id), markup.GetData());
            id = static_cast<int>(static_cast<unsigned int>(id) + 1);  // wraps like the id space
        }
        markup.OutOfElem();
    }
}

void KrRegistryEpsFont::LoadDoc(const KrString& text)
{
    Clear();
    KrMarkup markup;
    if (!enterRoot(markup, text)) return;
    while (markup.FindElem())
    {
        KrString ownName, epsName;
        if (markup.FindChildElem("tml:KRN")) ownName = markup.GetChildData();
        markup.ResetChildPos();
        if (markup.FindChildElem("tml:EPS")) epsName = markup.GetChildData();
        m_hashValues.SetAt(ownName, epsName);
    }
}

// ---------------------------------------------------------------- readers of the root registry

namespace
{
int dpiSetting()
{
    return KrRegistry::Root().Value("dpi").ToInt(10);
}

KrString resourceText(unsigned int id)
{
    return KrRegistry::Root().SubFile("resource").Value(KrString::From(static_cast<int>(id)));
}

// The screen resolution and the resource texts live in the configuration; the lower families
// read them through these hooks, in place from the moment the library is loaded.
const struct RootReadersInstaller
{
    RootReadersInstaller()
    {
        krsetdpisource(dpiSetting);
        KrString::SetResourceLoader(resourceText);
    }
} g_rootReaders;
}  // namespace

}  // namespace KRN
