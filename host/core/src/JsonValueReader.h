#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Zarn
{

class CValue;
class CValueContainerBase;

namespace Impl
{

// Builds a value tree from JSON text as nlohmann's SAX parser reports it, with no json document in
// between. The lower-case operations are the handler interface nlohmann calls; each returns false
// to stop at the first error, which Read then throws as CExBadParam "source:LINE:COLUMN: message"
// (lines and columns count from 1, columns in characters).
//
// Contract: owns the tree it builds until Read hands it to the caller; one thread. No messages.
class CJsonValueReader
{
public:
    // The deepest nesting of objects and arrays accepted.
    static constexpr size_t kMaxDepth = 1000;

    CJsonValueReader(const std::string& text, const std::string& sourceName);

    // Also records where every value starts, by path ("plugins/0/name"), in text order.
    void RecordPositions(std::vector<std::pair<std::string, std::pair<size_t, size_t>>>* positions)
    {
        m_pPositions = positions;
    }

    // The tree of the whole text, owned by the caller.
    std::unique_ptr<CValue> Read();

    bool null();
    bool boolean(bool bValue);
    bool number_integer(std::int64_t nValue);
    bool number_unsigned(std::uint64_t uValue);
    bool number_float(double dValue, const std::string& token);
    bool string(std::string& text);
    bool binary(nlohmann::json::binary_t& data);
    bool start_object(std::size_t uSize);
    bool key(std::string& text);
    bool end_object();
    bool start_array(std::size_t uSize);
    bool end_array();
    bool parse_error(std::size_t position, const std::string& lastToken,
                     const nlohmann::json::exception& ex);

private:
    struct StFrame
    {
        CValueContainerBase* m_pContainer; // lent: owned by its parent or by m_pRoot
        bool m_bMap;
        std::string m_strKey;  // the key the next child of a map is stored under
        std::string m_strPath; // only kept while positions are recorded
    };

    // Hands the value to the open container, or makes it the root.
    bool Add(std::unique_ptr<CValue> value, size_t uStart);
    bool OpenContainer(std::unique_ptr<CValue> container, bool bMap);
    // The path of the value about to be added to the open container.
    std::string ChildPath() const;
    // Line and column (from 1, columns in characters) of a byte offset at or after uFromOffset,
    // counting on from the line and column there.
    void Advance(size_t uToOffset, size_t& uFromOffset, size_t& uLine, size_t& uColumn) const;
    // Records the first error, at a byte offset of the text; always false.
    bool Fail(size_t offset, const std::string& message);
    // Bytes the parser has taken from the text so far.
    size_t Consumed() const;
    // Where the number token that was just read begins.
    size_t NumberStart(const std::string& token) const;
    // Where the string token that was just read (up to its closing quote) begins.
    size_t StringStart() const;

    const std::string& m_strText;
    const std::string& m_strSourceName;
    const char* m_pFurthest; // one past the last byte handed to the parser
    std::unique_ptr<CValue> m_pRoot;
    std::vector<StFrame> m_lstOpen;
    bool m_bFailed = false;
    size_t m_uErrorOffset = 0;
    std::string m_strError;
    std::vector<std::pair<std::string, std::pair<size_t, size_t>>>* m_pPositions = nullptr;
    std::vector<std::pair<std::string, size_t>> m_lstOffsets; // path and byte offset, in text order
};

} // namespace Impl
} // namespace Zarn
