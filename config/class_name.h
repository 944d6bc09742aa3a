#ifndef VESK_CONFIG_CLASS_NAME_H
#define VESK_CONFIG_CLASS_NAME_H

namespace vesk {

/** The value elements of an instance element, wherever it comes from. */
class element_children {
  public:
    /** Whether there is one of that name; then text is that of the first, null when it has none. */
    virtual bool find(const char *name, const char *&text) const = 0;

  protected:
    ~element_children() = default;
};

/** vesk_config_get_class_name() for the element of that name. */
const char *concrete_class_name(const char *name, const element_children &children);

} // namespace vesk

#endif
