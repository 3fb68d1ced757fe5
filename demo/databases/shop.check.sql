-- Calls what a shop can do, and shows what comes of it. Changes nothing.
START TRANSACTION;
SELECT 'customer_label', customer_label(1), customer_label(2), customer_label(0);
CALL restock(1, 5, @left_over, @remark);
SELECT 'restock', @left_over, @remark;
UPDATE products SET price = price + 1 WHERE id IN (2, 3);
SELECT 'price_history', product, old_price, new_price FROM price_changes ORDER BY product;
INSERT INTO order_items VALUES (100000, 11, 7);
SELECT 'take_from_stock', stock FROM products WHERE id = 11;
SELECT 'order_totals', count(*), sum(total) FROM order_totals;
SELECT 'the `cheap'' ones', count(*), max(title) FROM `the ``cheap'' ones`;
ROLLBACK;
