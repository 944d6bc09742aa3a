#ifndef VESK_PROCESS_DECIMAL_H
#define VESK_PROCESS_DECIMAL_H

namespace vesk {

/** A number as text, made without the library: for signal handlers. */
class decimal {
  public:
    explicit decimal(long value)
    {
        const bool negative = value < 0;
        unsigned long rest =
            negative ? 0UL - static_cast<unsigned long>(value) : static_cast<unsigned long>(value);
        do {
            *--at_ = static_cast<char>('0' + rest % 10);
            rest /= 10;
        } while (rest > 0);
        if (negative) *--at_ = '-';
    }
    decimal(const decimal &) = delete;
    decimal &operator=(const decimal &) = delete;

    const char *text() const { return at_; }

  private:
    char digits_[24] = {};
    char *at_ = digits_ + sizeof digits_ - 1;
};

} // namespace vesk

#endif
