#ifndef VESK_TESTS_DIFFERENTIAL_HOST_H
#define VESK_TESTS_DIFFERENTIAL_HOST_H

namespace vesk::test::differential {

/** What the daemon calls: the validators, listeners and providers of the plug-ins. */
template <typename World> class host {
  public:
    using instance = typename World::instance;
    using instances = typename World::instances;
    using commit_info = typename World::commit_info;

    virtual ~host() = default;
    virtual bool is_valid(const char *value) = 0;
    virtual bool is_valid_for(instance *instance, const char *value) = 0;
    virtual void value_set(int listener, instance *instance, const char *property) = 0;
    virtual void membership_changed(int listener, instance *instance, int event) = 0;
    virtual void refresh(int, instances *) {}
    virtual void commit(int, const commit_info *) {}
};

} // namespace vesk::test::differential

#endif
