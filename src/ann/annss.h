// The annotation set: ANNSS, a set of kinds with the bounds of a graph and the file format
// (symbol section, head frame, one frame per record), and NLG_ANNSS, the set of one graph that
// answers by graph object. ANNSS knows no graph; NLG_ANNSS owns its ANNSS, not the graph.
#pragma once

#include <map>
#include <string>

#include "ann/anns.h"
#include "nlg_iannss.h"
#include "util/util_symbol_file.h"

class IANNSS : public UTIL::ISERIALIZABLE {
  public:
    using UTIL::ISERIALIZABLE::read;
    virtual PB::ANNSS::BOUNDS get_bounds() const = 0;
    virtual UTIL::SYMBOL_FILE& get_symbol_file() = 0;
    virtual void add_type(int type) = 0;
    virtual bool has_type(int type) const = 0;
    virtual ANNS& get_anns(int type) = 0;
    virtual ICDB_ANNS& get_icdb() = 0;
    virtual FAB_ANNS& get_fab() = 0;
    virtual bool equals(const IANNSS& other) const = 0;
};

class ANNSS : public IANNSS {
  public:
    explicit ANNSS(const PB::ANNSS::BOUNDS& bounds = PB::ANNSS::BOUNDS());
    ANNSS(const ANNSS&) = delete;
    ANNSS& operator=(const ANNSS&) = delete;

    bool read(std::istream& stream, uint32_t format) override;
    bool write(std::ostream& stream, uint32_t format) override;
    PB::ANNSS::BOUNDS get_bounds() const override { return m_bounds; }
    UTIL::SYMBOL_FILE& get_symbol_file() override { return m_symbol_file; }
    void add_type(int type) override;
    bool has_type(int type) const override { return m_types.count(type) != 0; }
    ANNS& get_anns(int type) override;
    ICDB_ANNS& get_icdb() override { return get_anns(PB::ANNS::ICDB).get_icdb(); }
    FAB_ANNS& get_fab() override { return get_anns(PB::ANNS::FAB).get_fab(); }
    bool equals(const IANNSS& other) const override;

  private:
    PB::ANNSS::BOUNDS m_bounds;
    UTIL::SYMBOL_FILE m_symbol_file;
    std::map<int, ANNS> m_types;
};

// One kind of records seen through graph objects; bound to its store on first use.
template <class ANN, class MODULE, class INSTANCE, class PORT, class NET, class GRAPH>
class NLG_ANNS_TEMPLATE : public NLG_IANNS_TEMPLATE<ANN, MODULE, INSTANCE, PORT, NET, GRAPH> {
  public:
    using STORE = ANNS_TEMPLATE<ANN, MODULE, INSTANCE, PORT, NET, GRAPH>;

    GRAPH& get_graph() override { return m_anns->get_graph(); }
    NET& get_net(const NLG_INET& net) override {
        return m_anns->get_net(net.get_id().get_serial());
    }
    PORT& get_port(const NLG_IPORT& port) override {
        return m_anns->get_port(port.get_id().get_serial());
    }
    INSTANCE& get_instance(const NLG_IINSTANCE& instance) override {
        return m_anns->get_instance(instance.get_id().get_serial());
    }
    MODULE& get_module(const NLG_IMODULE& module) override {
        return m_anns->get_module(module.get_id().get_serial());
    }

    bool is_bound() const { return m_anns != nullptr; }
    void bind(STORE* anns) { m_anns = anns; }
    STORE* get_store() const { return m_anns; }

  private:
    STORE* m_anns = nullptr;
};

class NLG_ANNSS : public NLG_IANNSS {
  public:
    // Bounds come from the graph; names of records live in the graph's symbol table.
    explicit NLG_ANNSS(const NLG_IGRAPH& graph);
    NLG_ANNSS(const NLG_ANNSS&) = delete;
    NLG_ANNSS& operator=(const NLG_ANNSS&) = delete;
    ~NLG_ANNSS() override;

    void add_type(int type) override { m_annss->add_type(type); }
    bool has_type(int type) const override { return m_annss->has_type(type); }
    NLG_ANNS_TEMPLATE<PB::ICDB, PB::ICDB::MODULE, PB::ICDB::INSTANCE, PB::ICDB::APORT,
                      PB::ICDB::NET, PB::ICDB::GRAPH>&
    get_icdb() override;
    NLG_ANNS_TEMPLATE<PB::FAB, PB::FAB::MODULE, PB::FAB::INSTANCE, PB::FAB::APORT, PB::FAB::NET,
                      PB::FAB::GRAPH>&
    get_fab() override;
    bool write_named(PB::NAMED_ANNSS* out) override;
    bool read_named(const PB::NAMED_ANNSS& in) override;
    UTIL::IERROR::ERROR& get_error() override { return m_error; }

    const NLG_IGRAPH* get_graph() const { return m_graph; }
    ANNSS* get_annss() const { return m_annss; }

  private:
    const NLG_IGRAPH* m_graph;
    ANNSS* m_annss;
    NLG_ANNS_TEMPLATE<PB::ICDB, PB::ICDB::MODULE, PB::ICDB::INSTANCE, PB::ICDB::APORT,
                      PB::ICDB::NET, PB::ICDB::GRAPH>
        m_icdb;
    NLG_ANNS_TEMPLATE<PB::FAB, PB::FAB::MODULE, PB::FAB::INSTANCE, PB::FAB::APORT, PB::FAB::NET,
                      PB::FAB::GRAPH>
        m_fab;
    UTIL::IERROR::ERROR m_error;
};
