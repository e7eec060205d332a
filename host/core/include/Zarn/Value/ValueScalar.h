#pragma once

#include <Zarn/Value/Value.h>

#include <utility>

namespace Zarn
{

// What the four scalar kinds share: one datum of type TData, compared and copied as a whole.
template <class TDerived, class TData, CValue::EnValType Kind> class CValueScalar : public CValue
{
public:
    CValue* Clone(EnTfOwnership strategy) const override
    {
        auto* pClone = new TDerived(m_data);
        pClone->CopyMeta(*this, strategy, true);
        return pClone;
    }
    CValue& Copy(const CValue& source, EnTfOwnership strategy, bool bReplaceMeta) override
    {
        RequireSameKind(source, "Copy");
        if (&source != this)
        {
            m_data = static_cast<const CValueScalar&>(source).m_data;
            CopyMeta(source, strategy, bReplaceMeta);
        }
        return *this;
    }
    CValue& Move(CValue& source) override
    {
        RequireSameKind(source, "Move");
        if (&source != this)
        {
            m_data = std::exchange(static_cast<CValueScalar&>(source).m_data, TData{});
            MoveMeta(source);
        }
        return *this;
    }
    bool Equal(const CValue& other) const override { return EqualData(other) && EqualMeta(other); }
    bool EqualData(const CValue& other) const override
    {
        return other.GenericType() == Kind &&
               static_cast<const CValueScalar&>(other).m_data == m_data;
    }
    EnValType GenericType() const override { return Kind; }
    const void* VoidPointer() const override { return &m_data; }
    void* VoidPointer() override { return &m_data; }

protected:
    explicit CValueScalar(TData data) : m_data(std::move(data)) {}

    TData m_data;
};

// Contract of the scalar values: each owns its one datum; thread and errors as CValue. No
// messages.
class ZARN_CORE_API CValueBool : public CValueScalar<CValueBool, bool, CValue::vtBool>
{
public:
    explicit CValueBool(bool bValue = false) : CValueScalar(bValue) {}
    bool& Bool() override { return m_data; }
    bool Bool() const override { return m_data; }
};

class ZARN_CORE_API CValueLong : public CValueScalar<CValueLong, long, CValue::vtLong>
{
public:
    explicit CValueLong(long lValue = 0) : CValueScalar(lValue) {}
    long Long() const override { return m_data; }
    long& Long() override { return m_data; }
    double Double() const override { return static_cast<double>(m_data); }
    // Reads through a non-const value must work too; the reference is to a converted copy, so
    // writing through it leaves the number unchanged.
    double& Double() override
    {
        m_dConverted = static_cast<double>(m_data);
        return m_dConverted;
    }

private:
    double m_dConverted = 0.0;
};

class ZARN_CORE_API CValueDouble : public CValueScalar<CValueDouble, double, CValue::vtDouble>
{
public:
    explicit CValueDouble(double dValue = 0.0) : CValueScalar(dValue) {}
    double Double() const override { return m_data; }
    double& Double() override { return m_data; }
};

class ZARN_CORE_API CValueString : public CValueScalar<CValueString, CString, CValue::vtString>
{
public:
    // length CString::NPOS takes the text up to its terminating zero.
    explicit CValueString(const char* text = "", size_t length = CString::NPOS);
    explicit CValueString(const CString& text) : CValueScalar(text) {}
    const CString& String() const override { return m_data; }
    CString& String() override { return m_data; }
    void SetString(const char* text, size_t length) override;
    const void* VoidPointer() const override { return m_data.c_str(); }
    void* VoidPointer() override { return const_cast<char*>(m_data.c_str()); }
};

} // namespace Zarn
